#!/usr/bin/env python3
"""Prints what the benchmarks measured as one table: table.py FOLDER, the raw results as scripts/bench keeps them.
Leaves with status 1 when something that is counted, not timed, is out of its reach."""

import json
import pathlib
import statistics
import sys

folder = pathlib.Path(sys.argv[1])


def load(name):
    return json.loads((folder / name).read_text())


# One process after the other: name of a benchmark -> its contenders' costs.
rounds = [{run["name"]: run for run in load(file.name)["benchmarks"]} for file in sorted(folder.glob("benchmarks-*.json"))]
workstation, telephone, plugin = load("footprint-64.json"), load("footprint-32.json"), load("plugin-32.json")
EVENT_AMONG_MANY = "event/10000/min_time:1.000"
failed = []


def row(measure, figure, reach, reached, spread="", control=""):
    print(f"| {measure} | {figure} | {spread} | {control} | {reach} | {'' if reached is None else 'yes' if reached else 'no'} |")


def middle(values):
    low, _, high = statistics.quantiles(values, n=4, method="inclusive") if len(values) > 1 else values * 3
    return f"{low:.2f} to {high:.2f}"


def ratio(measure, benchmark, above, below, most=None, least=None):
    """The median over all processes of one contender's cost to another's, or of what two functions of a process give."""
    def cost(of, process):
        return of(process) if callable(of) else process[benchmark][of]

    measured = [process for process in rounds if "control" in process[benchmark]]
    reach = "shown" if most is least else f"at most {most}" if least is None else f"at least {least}"
    if not measured:
        row(measure, "not measured", reach, None)
        return
    values = [cost(above, process) / cost(below, process) for process in measured]
    figure = round(statistics.median(values), 2)
    reached = None if most is least else figure <= most if least is None else figure >= least
    controls = [process[benchmark]["control"] for process in measured]
    row(measure, f"{figure:.2f}", reach, reached, middle(values), middle(controls))


def count(measure, figure, reach, reached):
    row(measure, figure, reach, reached)
    if not reached:
        failed.append(f"{measure}: {figure}, should be {reach}")


def growth(who):
    return lambda process: process[EVENT_AMONG_MANY][who] / process["event/1"][who]


def both(of):
    """A count on the workstation and on the telephone; one figure if they agree."""
    counts = sorted({of(workstation), of(telephone)})
    return " or ".join(map(str, counts))


print("| measure | figure | half lay in | control | reach | reached |")
print("|---|---|---|---|---|---|")
ratio("an event, 1 line, to its bare parts", "event/1", "plugin", "bare", most=1.25)
ratio("... 100 lines", "event/100", "plugin", "bare", most=1.25)
ratio("... 10000 lines", EVENT_AMONG_MANY, "plugin", "bare", most=1.4)
ratio("... 1 line, without the controller's lock among the parts", "event/1", "plugin", "bareUnlocked")
ratio("growth of an event, 1 to 10000 lines, to that of a bare look-up", EVENT_AMONG_MANY, growth("plugin"),
      growth("lookUp"), most=1)
ratio("a whole call, to its bare parts", "call", "plugin", "bare", most=1.25)
ratio("events posted a second, to mutex, condition variable, deque", "posting", "bare", "plugin", least=0.9)
ratio("one way on an idle telephone, to another processor, to a bare futex", "oneWay/otherProcessor", "plugin", "bare",
      most=1.1)
ratio("... on the same processor", "oneWay/sameProcessor", "plugin", "bare")
ratio("delivering and handling one of 100 queued events, to one of 10", "backlog", "100", "10", most=2)
ratio("... one of 1000", "backlog", "1000", "10", most=2)
ratio("starting and stopping the service, to two threads", "lifetime", "plugin", "bare", most=2)
lifetimes = [process["lifetime"]["plugin"] for process in rounds]
explored = load("orders.json")
row("an order of events, to starting and stopping the service by threads",
    f"{1e9 * explored['seconds'] / explored['orders'] / statistics.median(lifetimes):.2f}", "shown", None)
ratio("a level test that is off, to an empty call", "levelTest", "plugin", "bare", most=1.5)

computed = sum(process["levelTest"]["argumentsComputed"] for process in rounds)
count("arguments of silent traces computed", f"{computed:.0f}", "0", computed == 0)
figure = both(lambda counts: counts["events"])
count("allocations of five events inside the core", figure, "0", figure == "0")
figure = both(lambda counts: counts["posted"])
count("allocations of a posted event", figure, "1", figure == "1")
row(f"allocations of create and of destroy, {both(lambda counts: counts['record'])} of each in its record",
    both(lambda counts: f"{counts['create']} and {counts['destroy']}"), "0",
    not any(counts["create"] + counts["destroy"] for counts in (workstation, telephone)))
for kept, what, most in (("line", "a used line", 256), ("session", "a session", 192)):
    count(f"bytes of the heap of {what}, 32 bits ({workstation[kept]} on 64)", telephone[kept], f"at most {most}",
          telephone[kept] <= most)
count("bytes of the stripped plug-in for 32-bit ARM", plugin["bytes"], "at most 98304", plugin["bytes"] <= 98304)
count("its static initialisers", ", ".join(plugin["initialisers"]), "string constants",
      plugin["initialisers"] == ["MediaRecordingDefs.cpp"])

for failure in failed:
    print(failure, file=sys.stderr)
sys.exit(1 if failed else 0)
