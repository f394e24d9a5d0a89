"""What goes over the loopback interface, as tshark sees it."""

import re
import signal
import subprocess
import time

from parties import PATIENCE, Party


class Capture:
    """Captures while it is entered; afterwards it can be asked."""

    def __init__(self, file, *options):
        self._file = file
        self._how = options
        self._options = []

    def __enter__(self):
        self._tshark = Party("tshark", "-i", "lo", "-f", "udp", "-w", self._file, *self._how)
        self._tshark.wait_for("Capture started")
        return self

    def wait_for(self, pattern, times=1):
        """Until the capture holds such bytes so often; what was sent comes to it with a delay."""
        deadline = time.monotonic() + PATIENCE
        while len(re.findall(pattern, self._file.read_bytes())) < times:
            if time.monotonic() > deadline:
                raise AssertionError(f"{pattern} was not captured {times} times")
            time.sleep(0.01)

    def __exit__(self, *_):
        self._tshark.stop(signal.SIGINT)
        self.dropped = sum(int(count) for count in re.findall(r"(\d+) packets? dropped", self._tshark.story()))

    def dissect_sip(self, ports):
        for port in ports:
            self._options += ["-d", f"udp.port=={port},sip"]

    def fields(self, condition, *names):
        """These fields of each frame that fulfils the condition; several values of one stand with commas between."""
        columns = [word for name in names for word in ("-e", name)]
        command = ["tshark", "-r", self._file, *self._options, "-Y", condition, "-T", "fields", *columns]
        text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        return [line.split("\t") for line in text.splitlines()]

    def count(self, condition):
        return len(self.fields(condition, "frame.number"))
