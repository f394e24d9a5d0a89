"""Tones in packets of RTP, for tests that need more than a client of SIP can be told to send."""

import audioop
import math
import random
import socket
import struct
import time

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
