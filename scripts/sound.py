#!/usr/bin/python3
"""Tells of a recording how long it is, how loud each side is and which tone it holds: scripts/sound.py FILE.wav..."""
import sys
import wave

import numpy

SIDES = ("near", "far")


class Recording:
    """A WAV file of 16 bits: the near side on the left, the far side on the right, or one side alone."""

    def __init__(self, name):
        with wave.open(str(name)) as file:
            if file.getsampwidth() != 2:
                raise ValueError(f"{name} is no file of 16 bits")
            channels = file.getnchannels()
            self.rate = file.getframerate()
            samples = numpy.frombuffer(file.readframes(file.getnframes()), dtype="<i2")
        self.sides = dict(zip(SIDES, samples.reshape(-1, channels).T.astype(float)))

    @property
    def seconds(self):
        return len(self.sides["near"]) / self.rate

    def part(self, side, begin=0.0, end=None):
        return self.sides[side][round(begin * self.rate) : None if end is None else round(end * self.rate)]

    def level(self, side, begin=0.0, end=None):
        """In decibels to full scale; minus infinity is digital silence."""
        part = self.part(side, begin, end)
        power = numpy.mean(part**2) if len(part) else 0.0
        return 10 * numpy.log10(power / 32768**2) if power > 0 else -numpy.inf

    def tone(self, side, begin=0.0, end=None):
        """The strongest frequency, and the share of the power that lies within 20 Hz of it."""
        part = self.part(side, begin, end)
        if not numpy.any(part):
            return 0.0, 0.0
        # Many times as long as the part, so that the frequencies lie close together.
        size = max(len(part), self.rate) * 2
        spectrum = numpy.abs(numpy.fft.rfft(part * numpy.hanning(len(part)), size)) ** 2
        frequencies = numpy.fft.rfftfreq(size, 1 / self.rate)
        strongest = frequencies[numpy.argmax(spectrum)]
        near = numpy.abs(frequencies - strongest) <= max(20.0, 2 * self.rate / len(part))
        return float(strongest), float(spectrum[near].sum() / spectrum.sum())

    def power_at(self, frequency, side, begin=0.0, end=None):
        """In decibels to full scale, of this frequency alone."""
        part = self.part(side, begin, end)
        wave_of_it = numpy.exp(-2j * numpy.pi * frequency * numpy.arange(len(part)) / self.rate)
        window = numpy.hanning(len(part))
        amplitude = 2 * abs(numpy.sum(part * window * wave_of_it)) / window.sum() if len(part) else 0.0
        return 20 * numpy.log10(amplitude / numpy.sqrt(2) / 32768) if amplitude > 0 else -numpy.inf

    def sounding(self, side, piece=0.02):
        """The times from and to which something is heard, and how much of them is not silent, in seconds."""
        size = round(piece * self.rate)
        samples = self.sides[side]
        pieces = samples[: len(samples) // size * size].reshape(-1, size)
        heard = numpy.flatnonzero(numpy.any(pieces != 0, axis=1))
        if not len(heard):
            return 0.0, 0.0, 0.0
        return heard[0] * piece, (heard[-1] + 1) * piece, len(heard) * piece


def write_tone(name, frequency, seconds):
    """A mono file of a tone of so many whole Hz."""
    samples = 10000 * numpy.sin(2 * numpy.pi * frequency * numpy.arange(8000) / 8000)
    with wave.open(str(name), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(8000)
        file.writeframes(samples.astype("<i2").tobytes() * seconds)


def describe(name):
    recording = Recording(name)
    print(f"{name}: {recording.seconds:.2f} s")
    for side in recording.sides:
        begin, end, heard = recording.sounding(side)
        frequency, share = recording.tone(side)
        print(
            f"  {side:<4}  {recording.level(side, begin, end):6.1f} dB"
            f"  {heard:6.2f} s of sound from {begin:.2f} s to {end:.2f} s"
            + (f", a tone of {frequency:.0f} Hz" if share > 0.5 else "")
        )


if __name__ == "__main__":
    for argument in sys.argv[1:]:
        describe(argument)
