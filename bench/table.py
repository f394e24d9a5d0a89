#!/usr/bin/env python3
"""Prints what the benchmarks measured as one table: table.py FOLDER, the raw results as scripts/bench keeps them."""

import json
import pathlib
import statistics
import sys

folder = pathlib.Path(sys.argv[1])


def load(name):
    return json.loads((folder / name).read_text())


# One process after the other, each with every contender in it: name of a measure -> its costs, by process.
runs = {}
for file in sorted(folder.glob("*Bench-*.json")):
    for run in json.loads(file.read_text())["benchmarks"]:
        runs.setdefault(run["name"], []).append(run)
workstation, telephone, plugin = load("footprint-64.json"), load("footprint-32.json"), load("plugin-32.json")


def verdict(reached):
    return "yes" if reached else "no"


def row(measure, figure, spread="", control="", reach="shown", reached=None):
    print(f"| {measure} | {figure} | {spread} | {control} | {reach} | {'' if reached is None else verdict(reached)} |")


def quartiles(values):
    if len(values) < 2:
        return f"{values[0]:.2f}"
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return f"{low:.2f} to {high:.2f}"


def ratio(measure, name, above, below, reach=None, least=False):
    """The median over all processes of above / below, at most (or at least) `reach`."""
    values = [above(run) / below(run) for run in runs[name]]
    controls = [next(v for k, v in run.items() if k in FIRST) / run["control"] for run in runs[name]]
    median = statistics.median(values)
    reached = None if reach is None else (round(median, 2) >= reach if least else round(median, 2) <= reach)
    text = "shown" if reach is None else f"{'at least' if least else 'at most'} {reach}"
    row(measure, f"{median:.2f}", quartiles(values), quartiles(controls), text, reached)


FIRST = ("plugin", "pluginMany", "10")


def of(counter):
    return lambda run: run[counter]


def growth(who):
    return lambda run: run[who + "Many"] / run[who + "One"]


print(f"Medians of {len(runs['posting'])} processes, and what half of them lay between; the control is the same thing")
print("measured twice, its ratio all noise.\n")
print("| measure | figure | half lay in | control | reach | reached |")
print("|---|---|---|---|---|---|")
for lines in (1, 10, 100, 1000, 10000):
    limit = 1.4 if lines == 10000 else 1.25
    ratio(f"an event, lines: {lines}, to its bare parts", f"event/{lines}", of("plugin"), of("bare"), limit)
    ratio("... with the controller's lock among the parts", f"event/{lines}", of("plugin"), of("bareWithLock"))
ratio("growth of an event, 1 to 10000 lines, to that of a bare look-up", "growth", growth("plugin"), growth("bare"), 1)
for way, how in (("successive", "one after the other on a line"), ("atOnce", "200 at once, each on a line")):
    for threads in (1, 2, 4):
        name = f"wholeCalls/{way}/{threads}"
        measure = f"whole calls a second, {how}, {threads} posting, to the minimal dispatcher"
        ratio(measure, name, of("bare"), of("plugin"), 0.5, True)
        ratio("... the whole service, with worker and adapters", name, of("bare"), of("service"))
ratio("events posted a second, to mutex, condition variable, deque", "posting", of("bare"), of("plugin"), 0.9, True)
for where, which in (("other", "to another processor"), ("same", "on the same processor")):
    measure = f"one way on an idle telephone, {which}, to a bare futex"
    ratio(measure, f"oneWay/{where}Processor", of("plugin"), of("bare"), 1.1)
for queued in (100, 1000, 10000):
    limit = None if queued == 10000 else 2
    what = f"delivering one of {queued} queued events, to one of 10"
    ratio(what, "backlog/delivered", of(str(queued)), of("10"), limit)
    ratio("... with its handling by the controller", "backlog/handled", of(str(queued)), of("10"), limit)
ratio("a level test that is off, to an empty call", "levelTest", of("plugin"), of("bare"), 1.5)
computed = sum(run["argumentsComputed"] for run in runs["levelTest"])
row("arguments of silent traces computed", f"{computed:.0f}", reach="0", reached=computed == 0)

for counted in (workstation, telephone):
    where = f"{counted['bits']} bits"
    made = counted["allocations"]
    inside = [made[event] for event in ("attached", "streaming", "not streaming", "without an action", "error")]
    row(f"allocations of an event inside the core, {where}", "/".join(map(str, inside)), reach="0 each",
        reached=not any(inside))
    row(f"allocations of a posted event, {where}", made["posted"], reach="1", reached=made["posted"] == 1)
    row(f"allocations of create and of destroy, {where}", f"{made['create']} and {made['destroy']}")
    for kept, limit in (("line", 256), ("session", 192), ("recording", None)):
        sizes = counted[kept]
        judged = limit is not None and counted is telephone
        what = {"line": "a used line", "session": "a session", "recording": "a session while it records"}[kept]
        row(f"{what}, {where}: bytes asked for, bytes of the heap", f"{sizes['asked']}, {sizes['heap']}",
            reach=f"at most {limit}" if judged else "shown", reached=sizes["heap"] <= limit if judged else None)
row("the stripped plug-in for 32-bit ARM, bytes", plugin["bytes"], reach="at most 98304",
    reached=plugin["bytes"] <= 96 * 1024)
others = [name for name in plugin["initialisers"] if name != "MediaRecordingDefs.cpp"]
row("its static initialisers", ", ".join(plugin["initialisers"]), reach="string constants", reached=not others)

ratio("factory to ready, to starting two threads", "toReady", of("plugin"), of("bare"), 2)
ratio("ready to destroyed, to ending and joining them", "toGone", of("plugin"), of("bare"), 2)
for lines in (1, 10, 100):
    ratio(f"a call with all traces on, lines: {lines}, to one without", f"allTraces/{lines}", of("plugin"), of("bare"))
    ratio("... one dump, to a call without traces", f"allTraces/{lines}", of("dump"), of("bare"))
