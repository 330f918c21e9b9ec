"""The pieces that an answer is made of, beside a peer each (pieces.cpp)."""

import collections
import json
import os
import statistics
import subprocess

REPETITIONS = 9
SECONDS = 0.05  # of each repetition


def measure(build, brief):
    """Nanoseconds of processor time by piece and by who does it; the repetitions are interleaved."""
    command = [build.peers / "vireon_bench", "--benchmark_format=json"]
    if brief:
        command += ["--benchmark_min_time=0.001"]
    else:
        command += [
            f"--benchmark_min_time={SECONDS}",
            f"--benchmark_repetitions={REPETITIONS}",
            "--benchmark_enable_random_interleaving=true",
        ]
    done = subprocess.run(
        command,
        env=dict(os.environ, PYTHONPATH=str(build.module.parent)),
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        check=True,
    )
    found = collections.defaultdict(lambda: collections.defaultdict(list))
    runs = json.loads(done.stdout)["benchmarks"]
    # As they stand in the source, the module's before its peers'.
    for run in sorted(runs, key=lambda run: run["family_index"]):
        if run["run_type"] == "iteration":
            piece, who = run["run_name"].split("/")[0].split("|")
            found[piece][who].append(run["cpu_time"])
    return {
        piece: {who: statistics.median(times) for who, times in peers.items()}
        for piece, peers in found.items()
    }
