"""Writes what was measured as a document, with charts beside it."""

import os
import platform
import re

import report

TITLES = {
    "whole path": "From the network to the callable",
    "counts": "What an answer takes, in numbers",
    "idle": "While nothing answers",
    "growth": "Growth",
    "windows": "On Windows",
    "pieces": "The pieces",
}

INTRODUCTION = """# Performance

Written by `./dev bench`, which measures all of this in one run and needs nothing but this machine: where
searches go out, they do so in network namespaces that are made for it. The times are those of one machine
on one day, beside whatever else it did; the ratios say more, since what is compared took turns. A target
is what the ratio is aimed at; nothing fails on a time, but a test holds allocations and instructions to
what was recorded.

"""

# What each part's figures are, by part.
EXPLANATIONS = {
    "whole path": """Each way of finding servers runs as a program of its own and gets the same answers, of
771 bytes and 21 headers. The floor (`bench/floor.cpp`) is the least that it takes in this interpreter:
receive, a bare scan, the filter, the same dictionary, the call, on one thread of its own. The script
(`bench/finder.py`) does the same in plain Python 2.7. GSSDP and libupnp are Debian's, and stop at a call of
C with the bare answer. Processor time is that of the whole program, by the system's clock, for each answer
that was delivered; latency is from the server's sending, one answer a millisecond, to the callable. All
figures are medians of {rounds} rounds, in which they took turns. The sockets asked for {receive_buffer:,}
bytes of receive buffer; the system's limit was {receive_buffer_limit:,}.

![Processor time of an answer, by load](performance/whole_path.svg)
""",
    "counts": """The difference between a search with many answers and one with few, for one answer. These
counts are the same on every machine, but for what depends on which thread finds the other awake; they are
recorded in `bench/recorded_counts.json`.
""",
    "idle": """A search that nobody answers, by the interval; what further engines, senders and records that
wait for the callable add to the memory; an import by a fresh interpreter.
""",
    "growth": """Ten answers come each millisecond, from so many servers, or over so many interfaces; a
search goes out on all interfaces at once, without an answer.

![Processor time of an answer, by servers](performance/servers.svg)

![Processor time, by interfaces](performance/interfaces.svg)
""",
    "windows": """Under Wine: the requests to its server, each of which is a system call on Windows too,
counted as above; and processor time, that of the program and that with what the server spends.
""",
    "pieces": """Each beside a well-known one that does the same in the same program. http-parser notes where
the texts lie, or copies them.
""",
}


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as cpuinfo:
        model = re.search(r"^model name\s*: (.*)$", cpuinfo.read(), re.M)
    kernel = platform.release().partition("-")[0]
    load = os.getloadavg()[2]
    return (
        f"Machine: {model.group(1) if model else platform.machine()}, {os.cpu_count()} cores, "
        f"Linux {kernel}; a load of {load:.1f} over the last quarter of an hour, this run's included.\n"
    )


def table(rows):
    lines = [report.HEADINGS] + [report.cells(row) for row in rows]
    marks = ["---" if column in report.TEXT_COLUMNS else "--:" for column in range(len(report.HEADINGS))]
    return "".join("| " + " | ".join(line) + " |\n" for line in [lines[0], marks] + lines[1:])


def plotter():
    """The library that draws, with its files made the same each time."""
    os.environ.setdefault("MPLBACKEND", "svg")
    import matplotlib  # takes a second, which only this needs

    matplotlib.rcParams["svg.hashsalt"] = "performance"
    from matplotlib import pyplot

    return pyplot


def save(pyplot, figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def draw_whole_path(pyplot, path, results):
    rows = [row for row in report.whole_path_rows(results) if row.what.startswith("processor time, ")]
    loads = list(dict.fromkeys(row.what for row in rows))
    names = list(results["finders"])
    figure, axes = pyplot.subplots(figsize=(8, 4))
    for number, name in enumerate(names):
        heights = []
        for load in loads:
            of_load = [row for row in rows if row.what == load]
            peer = next((row for row in of_load if row.peer == name), None)
            heights.append(peer.theirs if peer else of_load[0].ours)
        places = [place + 0.8 * number / len(names) for place in range(len(loads))]
        axes.bar(places, heights, 0.8 / len(names), align="edge", label=name)
    axes.set_xticks([place + 0.4 for place in range(len(loads))])
    axes.set_xticklabels([load.partition(", ")[2] for load in loads])
    axes.set_ylabel("µs an answer")
    axes.legend()
    save(pyplot, figure, path)


def draw_line(axes, by_number, label=None):
    axes.plot(list(by_number), list(by_number.values()), marker="o", label=label)
    axes.set_ylim(bottom=0)


def draw_servers(pyplot, path, results):
    figure, axes = pyplot.subplots(figsize=(8, 4))
    for name, by_number in results["servers"].items():
        draw_line(axes, by_number, name)
    axes.set_ylim(bottom=0)
    axes.set_xscale("log")
    axes.set_xticks(list(by_number), [f"{number:,}" for number in by_number])
    axes.minorticks_off()
    axes.set_xlabel("servers")
    axes.set_ylabel("µs an answer")
    axes.legend()
    save(pyplot, figure, path)


def draw_interfaces(pyplot, path, results):
    figure, (left, right) = pyplot.subplots(1, 2, figsize=(8, 4))
    draw_line(left, results["interfaces"])
    left.set_ylabel("µs an answer")
    draw_line(right, results["search"])
    right.set_ylabel("µs a search")
    for axes in (left, right):
        axes.set_xlabel("interfaces")
        axes.set_xticks(list(results["interfaces"]))
    save(pyplot, figure, path)


def draw_charts(folder, results):
    pyplot = plotter()
    folder.mkdir(exist_ok=True)
    draw_whole_path(pyplot, folder / "whole_path.svg", results["whole path"])
    draw_servers(pyplot, folder / "servers.svg", results["growth"])
    draw_interfaces(pyplot, folder / "interfaces.svg", results["growth"])


def section(part, results):
    if not results:
        return f"## {TITLES[part]}\n\nNot measured: the module was not built for Windows.\n"
    explanation = EXPLANATIONS[part].format(**results)
    return f"## {TITLES[part]}\n\n{explanation}\n{table(report.rows({part: results}))}"


def write(path, results):
    """The document; its charts lie in a folder of its name."""
    sections = [section(part, measured) for part, measured in results.items()]
    path.write_text(INTRODUCTION + machine() + "\n" + "\n".join(sections), encoding="utf-8")
    draw_charts(path.with_suffix(""), results)
