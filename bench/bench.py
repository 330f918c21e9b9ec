"""Measures the module, beside what it can be compared with, and tells in ratios (./dev bench).

    bench.py [--brief] [--only PART ...]

Every part runs in network namespaces of its own. Where all were measured, docs/performance.md is written
anew. --brief shows that each part still runs, in under a minute; its figures mean nothing. Nothing here
fails because of a time: whoever reads the figures judges them.
"""

import argparse
import json
import pathlib
import time

import counts
import document
import growth
import idle
import laboratory
import pieces
import report
import whole_path
import windows

ROOT = laboratory.ROOT
DOCUMENT = ROOT / "docs/performance.md"
BRIEF_DOCUMENT = ROOT / "build/bench/performance.md"


class Build:
    """Where what is measured was built."""

    tools = ROOT / "build/release/bench"
    peers = ROOT / "build/bench/bench"
    module = ROOT / "build/release/_vireon.so"
    python = ROOT / "build/release/python"
    environment = {"VIREON_SCRIPT_PATH": str(tools)}


# The parts, each a function of the build and of whether it is to be brief.
PARTS = {
    "whole path": whole_path.measure,
    "counts": counts.measure,
    "idle": idle.measure,
    "growth": growth.measure,
    "windows": windows.measure,
    "pieces": pieces.measure,
}


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--brief", action="store_true", help="show that each part runs, measure nothing")
    parser.add_argument("--only", nargs="+", choices=PARTS, metavar="PART", default=list(PARTS))
    parser.add_argument("--record", action="store_true", help="record the counts, for the test that compares")
    parser.add_argument("--results", type=pathlib.Path, help="keep what was measured there, as JSON")
    options = parser.parse_args()
    if options.record and options.brief:
        parser.error("what is measured briefly is not worth recording")
    return options


def main():
    options = arguments()
    laboratory.enter_private_network()
    results = {}
    for part in options.only:
        started = time.monotonic()
        print(f"==> {part}", flush=True)
        results[part] = PARTS[part](Build, options.brief)
        print(f"    {time.monotonic() - started:.0f} s", flush=True)
    if options.record:
        counts.record(report.recordable(results))
    if options.results:
        options.results.write_text(json.dumps(results, indent=1), encoding="utf-8")
    report.print_table(results)
    if set(results) == set(PARTS):
        # What is measured briefly shows that writing works, too, elsewhere.
        document.write(BRIEF_DOCUMENT if options.brief else DOCUMENT, results)


if __name__ == "__main__":
    main()
