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


failed = []


def row(measure, figure, spread="", control="", reach="shown", reached=None):
    verdict = "" if reached is None else "yes" if reached else "no"
    print(f"| {measure} | {figure} | {spread} | {control} | {reach} | {verdict} |")


def exact(measure, figure, reach, reached):
    """What is counted, not timed: whoever calls this script learns by its exit status that it isn't reached any more."""
    row(measure, figure, reach=reach, reached=reached)
    if not reached:
        failed.append(f"{measure}: {figure}, should be {reach}")


def quartiles(values):
    if len(values) < 2:
        return f"{values[0]:.2f}"
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return f"{low:.2f} to {high:.2f}"


def ratio(measure, name, above, below, reach=None, least=False):
    """The median over all processes of above / below, at most (or at least) `reach`."""
    measured = [run for run in runs[name] if "control" in run]
    text = "shown" if reach is None else f"{'at least' if least else 'at most'} {reach}"
    if not measured:
        row(measure, "not measured", reach=text)
        return
    values = [above(run) / below(run) for run in measured]
    median = round(statistics.median(values), 2)
    reached = None if reach is None else median >= reach if least else median <= reach
    row(measure, f"{median:.2f}", quartiles(values), quartiles([run["control"] for run in measured]), text, reached)


def of(counter):
    return lambda run: run[counter]


def growth(who):
    return lambda run: run[who + "Many"] / run[who + "One"]


def added(who):
    return lambda run: run[who + "Many"] - run[who + "One"]


print(f"Medians over the processes ({len(runs['posting'])}), and what half of them lay between; the control is the same")
print("thing measured twice, its ratio all noise.\n")
print("| measure | figure | half lay in | control | reach | reached |")
print("|---|---|---|---|---|---|")
for lines in (1, 10, 100, 1000, 10000):
    name, limit = ("event/10000/min_time:1.000", 1.4) if lines == 10000 else (f"event/{lines}", 1.25)
    ratio(f"an event, lines: {lines}, to its bare parts", name, of("plugin"), of("bare"), limit)
    ratio("... with the controller's lock among the parts", name, of("plugin"), of("bareWithLock"))
    ratio("... without keeping the event's name among them", name, of("plugin"), of("bareUnnamed"))
ratio("growth of an event, 1 to 10000 lines, to that of a bare look-up", "growth", growth("plugin"), growth("bare"), 1)
ratio("... time added, to that added to a bare look-up", "growth", added("plugin"), added("bare"))
for threads in (1, 2, 4):
    name = f"wholeCalls/{threads}"
    ratio(f"whole calls a second, {threads} posting, to the minimal dispatcher", name, of("bare"), of("plugin"), 0.5, True)
    ratio("... the whole service, with worker and adapters", name, of("bare"), of("service"), 0.5, True)
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
exact("arguments of silent traces computed", f"{computed:.0f}", "0", computed == 0)

for counted in (workstation, telephone):
    where = f"{counted['bits']} bits"
    made = counted["allocations"]
    inside = [made[event] for event in ("attached", "streaming", "not streaming", "without an action", "error")]
    exact(f"allocations of an event inside the core, {where}", "/".join(map(str, inside)), "0 each", not any(inside))
    exact(f"allocations of a posted event, {where}", made["posted"], "1", made["posted"] == 1)
    row(f"allocations of create and of destroy, {made['record']} of each in its record, {where}",
        f"{made['create']} and {made['destroy']}", reach="0", reached=made["create"] == made["destroy"] == 0)
    for kept, limit in (("line", 256), ("session", 192), ("recording", None)):
        sizes = counted[kept]
        what = {"line": "a used line", "session": "a session", "recording": "a session while it records"}[kept]
        measure, figure = f"{what}, {where}: bytes asked for, bytes of the heap", f"{sizes['asked']}, {sizes['heap']}"
        if limit is not None and counted is telephone:
            exact(measure, figure, f"at most {limit}", sizes["heap"] <= limit)
        else:
            row(measure, figure)
exact("the stripped plug-in for 32-bit ARM, bytes", plugin["bytes"], "at most 98304", plugin["bytes"] <= 96 * 1024)
exact("its static initialisers", ", ".join(plugin["initialisers"]), "string constants",
      plugin["initialisers"] == ["MediaRecordingDefs.cpp"])

ratio("factory to ready, to starting two threads", "toReady", of("plugin"), of("bare"), 2)
ratio("ready to destroyed, to ending and joining them", "toGone", of("plugin"), of("bare"), 2)
for lines in (1, 10, 100):
    ratio(f"a call in the core with all traces on, lines: {lines}, to one without", f"allTraces/{lines}", of("plugin"), of("bare"))
    ratio("... one dump, to a call without traces", f"allTraces/{lines}", of("dump"), of("bare"))

for failure in failed:
    print(failure, file=sys.stderr)
sys.exit(1 if failed else 0)
