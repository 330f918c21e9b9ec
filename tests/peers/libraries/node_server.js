// node_server.js PORT LOCATION UDN DEVICE_TYPE FRIENDLY_NAME
//
// Answers searches for the device by node-ssdp until it is ended. That answers no other port than it
// listens on, which its documents advise against.
const { Server } = require('node-ssdp');

const [port, location, udn, deviceType, friendlyName] = process.argv.slice(2);
const server = new Server({
    ssdpPort: Number(port),
    sourcePort: Number(port),
    location,
    udn,
    headers: { FriendlyName: friendlyName },
});
server.addUSN(deviceType);
server.start();
