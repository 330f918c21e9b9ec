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
}


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
    rows = []
    for load in loads:
        rows += beside(f"processor time, {load}", "µs an answer", medians(load, "us"))
    for load in loads:
        rows += beside(f"delivered, {load}", "%", medians(load, "delivered", 100))
    for figure in ("median", "99th"):
        rows += beside(f"latency, {figure}", "µs", medians("latency", figure))
    return rows


def count_rows(results):
    table = []
    for what in results["module"]:
        values = {name: counted[what] for name, counted in results.items()}
        table += beside(what, "an answer", values)
    recorded = counts.recorded()
    return table + [
        row(what, "an answer", count, "recorded", recorded[what])
        for what, count in results["module"].items()
        if what in recorded
    ]


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
    return row(
        f"{what}, {largest:,} {things}", unit, by_number[largest], f"{first} {things}", by_number[first]
    )


def growth_rows(results):
    table = [
        growth_row(f"processor time of {name}", "µs an answer", by_number, "servers", 100)
        for name, by_number in results["servers"].items()
    ]
    table.append(growth_row("processor time", "µs an answer", results["interfaces"], "interfaces", 1))
    table.append(growth_row("a search", "µs", results["search"], "interfaces", 1))
    return table


ROWS = {"whole path": whole_path_rows, "counts": count_rows, "idle": idle_rows, "growth": growth_rows}


def rows(results):
    return [each for part, measured in results.items() for each in ROWS[part](measured)]


def figure(value):
    if value is None:
        return ""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


HEADINGS = ("", "unit", "module", "beside", "its", "ratio", "target")


def cells(each):
    return (
        each.what,
        each.unit,
        figure(each.ours),
        each.peer or "",
        figure(each.theirs),
        figure(ratio(each)),
        "" if each.target is None else f"{each.target:g}",
    )


def print_table(table):
    lines = [HEADINGS] + [cells(each) for each in table]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    for line in lines:
        print(
            "  ".join(
                text.ljust(width) if column in (0, 1, 3) else text.rjust(width)
                for column, (text, width) in enumerate(zip(line, widths))
            ).rstrip()
        )
