"""What was measured, in words: rows of a table, each a figure of ours beside a peer's."""

import collections
import statistics

import counts

# A figure and what it is compared with; the target is the most (the least, for a share) that the ratio may
# be, or the figure where it has no peer.
Row = collections.namedtuple("Row", "what unit ours peer theirs target", defaults=(None, None, None))

# What is aimed at, by what a row is about and its peer. Nothing fails on one.
TARGETS = {
    ("processor time, burst of 1,000", "floor"): 1.6,
    ("processor time, burst of 1,000", "script"): 1.0,
    ("latency, median", "floor"): 1.3,
    ("delivered, burst of 10,000", "floor"): 1.0,
    ("processor time of module, 10,000 servers", "100 servers"): 1.2,
    ("processor time under Wine", "script"): 1.0,
    ("head of an answer", "http-parser"): 1.5,
    ("description document", "pugixml"): 1.0,
    ("a URL", "liburiparser"): 1.0,
    ("equality of strings", "std::string"): 2.0,
    ("search in a string", "std::string"): 2.0,
    ("comparison of strings", "std::string"): 2.0,
    ("a wrapped call", "bare C function"): 1.3,
}

# And the most that the module's own counts may be.
LIMITS = {"allocations": 40, "locks": 8, "system calls": 4, "requests on Windows": 10}

# What a row of these is about is the better the more it is.
MORE_IS_BETTER = ("delivered",)


def ratio(row):
    return row.ours / row.theirs if row.theirs else None


def row(what, unit, ours, peer=None, theirs=None):
    return Row(what, unit, ours, peer, theirs, TARGETS.get((what, peer)))


def beside(what, unit, values):
    """A row for each peer, the module's own value being the first."""
    (_, ours), *peers = values.items()
    return [row(what, unit, ours, peer, theirs) for peer, theirs in peers]


def whole_path_rows(results):
    finders = results["finders"]

    def medians(load, figure, factor=1):
        return {name: factor * statistics.median(finders[name][load][figure]) for name in finders}

    loads = [load for load in finders["module"] if load != "latency"]
    worst = 100 * min(finders["module"]["burst of 1,000"]["delivered"])
    rows = [Row("delivered, burst of 1,000, worst round", "%", worst, "aimed at", 100, 1)]
    for load in loads:
        rows += beside(f"processor time, {load}", "µs an answer", medians(load, "us"))
    for load in loads:
        rows += beside(f"delivered, {load}", "%", medians(load, "delivered", 100))
    for figure in ("median", "99th"):
        rows += beside(f"latency, {figure}", "µs", medians("latency", figure))
    return rows


def recordable(results):
    """What the module's counts were, by the names they are recorded by."""
    found = dict(results.get("counts", {}).get("module", {}))
    if results.get("windows"):
        found["requests on Windows"] = results["windows"]["requests"]["module"]
    return found


def recorded_rows(results):
    recorded = counts.recorded()
    table = []
    for what, count in recordable(results).items():
        if what in LIMITS:
            table.append(Row(what, "an answer", count, "aimed at", LIMITS[what], 1))
        if what in recorded:
            table.append(row(what, "an answer", count, "recorded", recorded[what]))
    return table


def count_rows(results):
    table = []
    for what in results["module"]:
        values = {name: counted[what] for name, counted in results.items()}
        table += beside(what, "an answer", values)
    return table + recorded_rows({"counts": results})


def windows_rows(results):
    if not results:
        return []
    table = beside("requests on Windows", "an answer", results["requests"])
    table += recorded_rows({"windows": results})
    table += beside("processor time under Wine", "µs an answer", results["us"])
    return table + beside("the same with its server's", "µs an answer", results["us with server"])


def idle_rows(results):
    table = []
    for interval, used in results["waiting"].items():
        table.append(row(f"processor time, searching every {interval}", "ms a sender and minute", used["ms"]))
        table.append(row(f"wake-ups, searching every {interval}", "a sender and minute", used["wake-ups"]))
    for what in ("engine", "sender", "1,000 records"):
        for kind in ("heap", "resident"):
            table.append(row(f"memory of {what}, {kind}", "KiB", results[what][kind] / 1024))
    table.append(row("import", "ms", results["import ms"]))
    table.append(row("size of the module", "KiB", results["size"] / 1024))
    return table


def growth_row(what, unit, by_number, things, first):
    """What the largest number costs, beside a smaller one."""
    largest = max(by_number)
    peer = f"{first} {things if first > 1 else things[:-1]}"
    return row(f"{what}, {largest:,} {things}", unit, by_number[largest], peer, by_number[first])


def growth_rows(results):
    table = [
        growth_row(f"processor time of {name}", "µs an answer", by_number, "servers", 100)
        for name, by_number in results["servers"].items()
    ]
    table.append(growth_row("processor time", "µs an answer", results["interfaces"], "interfaces", 1))
    table.append(growth_row("a search", "µs", results["search"], "interfaces", 1))
    return table


def pieces_rows(results):
    return [each for piece, values in results.items() for each in beside(piece, "ns", values)]


ROWS = {
    "whole path": whole_path_rows,
    "counts": count_rows,
    "idle": idle_rows,
    "growth": growth_rows,
    "windows": windows_rows,
    "pieces": pieces_rows,
}


def rows(results):
    return [each for part, measured in results.items() for each in ROWS[part](measured)]


def figure(value):
    if value is None:
        return ""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


HEADINGS = ("", "unit", "module", "beside", "its", "ratio", "target")
TEXT_COLUMNS = (0, 1, 3)


def target(each):
    """As text: the bound of the ratio, and whether it is kept."""
    if each.target is None or ratio(each) is None:
        return ""
    if each.what.startswith(MORE_IS_BETTER):
        sign, kept = "≥", ratio(each) >= each.target
    else:
        sign, kept = "≤", ratio(each) <= each.target
    return f"{sign} {each.target:g}" + ("" if kept else ", missed")


def cells(each):
    return (
        each.what,
        each.unit,
        figure(each.ours),
        each.peer or "",
        figure(each.theirs),
        figure(ratio(each)),
        target(each),
    )


def print_table(results):
    lines = [HEADINGS] + [cells(each) for each in rows(results)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    for line in lines:
        print(
            "  ".join(
                text.ljust(width) if column in TEXT_COLUMNS else text.rjust(width)
                for column, (text, width) in enumerate(zip(line, widths))
            ).rstrip()
        )
