"""What scripts/bench-calls measures. The far end is SIPp, which answers every call and sends back what it hears.
Leaves with status 1 when something is out of its reach."""

import collections
import os
import pathlib
import re
import socket
import statistics
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TOP / "scripts"), str(TOP / "tests/sip")]

from capture import Capture  # noqa: E402
from parties import Deskphone, Party, Recorder, udp_ports  # noqa: E402

AT_ONCE = 50
SECONDS = 10  # that the calls at once are recorded for
FORGOTTEN = 35  # seconds after which SIP's timers have forgotten a call


class FarEnd(Party):
    def __init__(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        super().__init__(*("sipp", "-sn", "uas", "-i", "127.0.0.1", "-p", self.port, "-rtp_echo", "-nostdin"))
        while self.port not in udp_ports(self.pid):
            time.sleep(0.01)
        self.uri = f"sip:far@127.0.0.1:{self.port}"


def processor(party, number):
    for task in pathlib.Path(f"/proc/{party.pid}/task").iterdir():
        os.sched_setaffinity(int(task.name), {number})


def resources(party):
    """Its open descriptors, and its memory in KiB."""
    status = pathlib.Path(f"/proc/{party.pid}/status").read_text()
    return len(os.listdir(f"/proc/{party.pid}/fd")), int(re.search(r"VmRSS:\s+(\d+)", status)[1])


def phone_with(recorder, lines):
    phone = Deskphone("--json", "--log", "0", accounts=[f"sip:{100 + line}@office" for line in range(lines)])
    phone.say("setRecordingModeConfig allcalls")
    phone.say(f"setRecorderAddressConfig {recorder.uri}")
    return phone


def await_command(phone, name):
    phone.wait_for(rf'"command":\["{name}"')


missed = []


def row(measure, figure, reach, reached):
    if not reached:
        missed.append(measure)
    print(f"| {measure} | {figure} | {reach} | {'yes' if reached else 'no'} |", flush=True)


def in_a_row(folder, calls):
    with Recorder(folder / "row") as recorder, FarEnd() as far_end, phone_with(recorder, 1) as phone:

        def make(number):
            phone.say(f"dial sip:100@office {far_end.uri}")
            await_command(phone, "LMSEventStreaming")
            phone.say(f"hangup {number}")
            await_command(phone, "LMSDestroySession")
            recorder.wait_for(f"  {number}  recorded")

        def rest():
            time.sleep(FORGOTTEN)
            return {party: resources(party) for party in (phone, recorder)}

        # As many before, so that the memory that SIP's timers need at a time is there already.
        for number in range(1, calls + 1):
            make(number)
        before = rest()
        for number in range(calls + 1, 2 * calls + 1):
            make(number)
        after = rest()
        for party, (descriptors, memory) in after.items():
            more = descriptors - before[party][0]
            row(f"descriptors that {party} has more after {calls} recorded calls", more, 0, more <= 0)
            grown = memory - before[party][1]
            row(f"memory of {party} more after {calls} recorded calls, KiB of {memory}", grown, "at most 1024", grown <= 1024)


def packets_in(capture):
    """Of each packet of RTP in the capture, its time, ports and first 12 bytes."""
    fields = capture.fields("!sip && udp.length == 180", "frame.time_epoch", "udp.srcport", "udp.dstport", "udp.payload")
    for when, source, destination, payload in fields:
        yield float(when), int(source), int(destination), payload[:24]


def at_once(folder):
    with Recorder(folder / "once") as recorder, FarEnd() as far_end, phone_with(recorder, AT_ONCE) as phone:
        processor(phone, 0)
        for other in recorder, far_end:
            processor(other, os.cpu_count() - 1)
        with Capture(folder / "calls.pcapng", "-B", "64") as capture:
            for line in range(AT_ONCE):
                phone.say(f"dial sip:{100 + line}@office {far_end.uri}")
                await_command(phone, "LMSEventStreaming")
            ports = udp_ports(phone.pid)
            time.sleep(SECONDS)
            for number in range(1, AT_ONCE + 1):
                phone.say(f"hangup {number}")
            for number in range(AT_ONCE):
                await_command(phone, "LMSDestroySession")
            capture.wait_for(b" BYE\r\n", 4 * AT_ONCE)
        phone.finish()
        recorder.stop()
        lost = [int(count) for count in re.findall(r"packets, (-?\d+) lost", recorder.story())]

    capture.dissect_sip((recorder.port, phone.port, far_end.port))
    answers = capture.fields(
        f'sip.Status-Code == 200 && sip.CSeq.method == "INVITE" && udp.srcport == {recorder.port}',
        *("frame.time_epoch", "sdp.media.port"),
    )
    answered = {int(port): float(when) for when, ports in answers for port in ports.split(",")}
    originals, copies, first = {}, collections.defaultdict(list), {}
    for when, source, destination, header in packets_in(capture):
        if destination in answered:
            copies[header].append(when)
            first.setdefault(destination, when)
        elif source in ports or destination in ports:
            originals.setdefault(header, []).append(when)
    begin = max(first.values()) + 0.5
    end = begin + SECONDS - 2
    delays, missing, total = [], 0, 0
    for header, times in originals.items():
        # The near side's packet, and the same again if the far end has sent it back: both are copied.
        if begin < times[0] < end:
            total += len(times)
            missing += len(times) - len(copies[header])
            delays += [copy - original for original, copy in zip(sorted(times), sorted(copies[header]))]
    waits = [1000 * (when - answered[port]) for port, when in first.items()]
    delays = [1000 * delay for delay in delays]
    row(f"first copied packet after the recorder's answer, ms, median of {len(waits)}", f"{statistics.median(waits):.1f}", "shown", True)
    row("... the latest", f"{max(waits):.1f}", "at most 100", max(waits) <= 100)
    row(f"a copied packet after its original, ms, {AT_ONCE} calls at once, median", f"{statistics.median(delays):.3f}", "at most 1", statistics.median(delays) <= 1)
    row("... 99 of 100 within", f"{sorted(delays)[len(delays) * 99 // 100]:.3f}", "shown", True)
    row("packets that the capture missed, so that they seem not to be there", capture.dropped, 0, capture.dropped == 0)
    row(f"packets of {AT_ONCE} recorded calls at once on one processor that were not copied, of {total}", missing, 0, missing == 0)
    row("... that the recorder missed", sum(lost), 0, sum(lost) == 0 and len(lost) == 2 * AT_ONCE)


def main():
    calls = int(sys.argv[1]) if len(sys.argv) > 1 else 300
    print("| measure | figure | reach | reached |\n|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        at_once(pathlib.Path(folder))
        in_a_row(pathlib.Path(folder), calls)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
