"""Recording clients: SIPp, and tones in packets of RTP for what SIPp cannot be told to send."""

import audioop
import math
import pathlib
import random
import re
import socket
import struct
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "scripts"))

from parties import PATIENCE, Party  # noqa: E402

METADATA = """<?xml version="1.0" encoding="UTF-8"?>
<recording xmlns="urn:ietf:params:xml:ns:recording:1">
<datamode>complete</datamode>
<session session_id="c2Vzc2lvbg=="><sipSessionID>ab30317f1a784dc48ff824d0d3715d86</sipSessionID></session>
<participant participant_id="ZmFy"><nameID aor="sip:bob@elsewhere"/></participant>
<participant participant_id="bmVhcg=="><nameID aor="sip:100@office"/></participant>
<stream stream_id="c3RyZWFtMQ==" session_id="c2Vzc2lvbg=="><label>{far}</label></stream>
<stream stream_id="c3RyZWFtMg==" session_id="c2Vzc2lvbg=="><label>{near}</label></stream>
<participantstreamassoc participant_id="ZmFy"><send>c3RyZWFtMQ==</send><recv>c3RyZWFtMg==</recv>
</participantstreamassoc>
<participantstreamassoc participant_id="bmVhcg=="><send>c3RyZWFtMg==</send><recv>c3RyZWFtMQ==</recv>
</participantstreamassoc>
</recording>
"""


class Sipp(Party):
    """A scenario of SIPp beside this file, whose words in braces are filled in."""

    def __init__(self, folder, scenario, port, *options, **words):
        text = (HERE / f"{scenario}.xml").read_text()
        for word, value in words.items():
            text = text.replace("{" + word + "}", str(value).replace("\r\n", "\n"))
        self._log = pathlib.Path(tempfile.mkdtemp(dir=folder)) / "log"
        file = self._log.with_name("scenario.xml")
        file.write_text(text)
        super().__init__(
            *("sipp", f"127.0.0.1:{port}", "-sf", file, "-i", "127.0.0.1", "-m", 1, "-nostdin", "-timeout", PATIENCE),
            *("-timeout_error", "-trace_logs", "-log_file", self._log, "-trace_err", "-error_file", f"{self._log}.err"),
            *options,
        )

    def answers(self):
        """The answers logged so far."""
        return self._log.read_text().split("SIP/2.0 200 OK")[1:] if self._log.exists() else []

    def wait_for_answer(self, number):
        """The ports for RTP in the answer of this number, and the directions."""
        deadline = time.monotonic() + PATIENCE
        while len(self.answers()) <= number or not self.answers()[number].rstrip().endswith(("only", "active")):
            if time.monotonic() > deadline or self._process.poll() not in (None, 0):
                raise AssertionError(f"no answer {number}:\n{self.story()}\n{self.errors()}")
            time.sleep(0.005)
        answer = self.answers()[number]
        return [int(port) for port in re.findall(r"^m=\w+ (\d+)", answer, re.M)], re.findall(r"^a=(\w+ly|inactive)", answer, re.M)

    def errors(self):
        file = pathlib.Path(f"{self._log}.err")
        return file.read_text() if file.exists() else ""


PIECE = 160  # samples in a packet: 20 ms


class Speaker:
    """One stream of RTP with a tone, and the port that it comes from."""

    def __init__(self, frequency, a_law=False):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.payload_type = 8 if a_law else 0
        self._encode = audioop.lin2alaw if a_law else audioop.lin2ulaw
        self._frequency = frequency
        self.sequence = random.randrange(0x10000)
        self.timestamp = random.randrange(0x100000000)
        self.source = random.randrange(0x100000000)
        self._spoken = 0

    def piece(self):
        """The next 20 ms, as they are sent."""
        angle = 2 * math.pi * self._frequency / 8000
        samples = [round(10000 * math.sin(angle * (self._spoken + i))) for i in range(PIECE)]
        self._spoken += PIECE
        return self._encode(struct.pack(f"<{PIECE}h", *samples), 2)

    def packet(self, payload):
        header = struct.pack(">BBHII", 0x80, self.payload_type, self.sequence, self.timestamp, self.source)
        self.sequence = (self.sequence + 1) % 0x10000
        self.timestamp = (self.timestamp + len(payload)) % 0x100000000
        return header + payload

    def send(self, data, port):
        self.socket.sendto(data, ("127.0.0.1", port))

    def close(self):
        self.socket.close()


def speak(ports, seconds):
    """All speakers, each to the port beside it, in real time."""
    begin = time.monotonic()
    for number in range(round(seconds * 50)):
        time.sleep(max(0.0, begin + number * 0.02 - time.monotonic()))
        for speaker, port in ports.items():
            speaker.send(speaker.packet(speaker.piece()), port)
