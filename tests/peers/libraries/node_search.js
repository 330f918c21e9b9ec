// node_search.js PORT SEARCH_TARGET
//
// Searches by node-ssdp and prints the headers of each answer, as JSON.
const { Client } = require('node-ssdp');

const [port, searchTarget] = process.argv.slice(2);
const client = new Client({ ssdpPort: Number(port) });
client.on('response', (headers) => console.log(JSON.stringify(headers)));
client.search(searchTarget);
setTimeout(() => process.exit(0), 3000);
