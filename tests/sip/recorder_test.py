"""The recorder alone: SIPp is the recording client, and the packets come from here."""

import audioop
import os
import pathlib
import resource
import struct
import tempfile
import unittest

from clients import METADATA, Sipp, Speaker, speak
from parties import PROGRAMS, Recorder
from sound import Recording

NEAR, FAR = 440, 1200  # Hz


def sdp(speakers, direction="sendonly", address="127.0.0.1"):
    """An offer of their streams, labelled 1, 2 and so on."""
    text = f"v=0\r\no=- 1 1 IN IP4 {address}\r\ns=-\r\nc=IN IP4 {address}\r\nt=0 0\r\n"
    for label, speaker in enumerate(speakers, 1):
        text += f"m=audio {speaker.port} RTP/AVP {speaker.payload_type}\r\na=label:{label}\r\na={direction}\r\n"
    return text


def with_metadata(offer, metadata):
    parts = f"--edge\r\nContent-Type: application/sdp\r\n\r\n{offer}\r\n"
    parts += f"--edge\r\nContent-Type: application/rs-metadata+xml\r\nContent-Disposition: recording-session\r\n\r\n"
    return parts + metadata.replace("\n", "\r\n") + "\r\n--edge--\r\n"


MULTIPART = 'multipart/mixed;boundary="edge"'


class RecorderTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.recorder = self.enter(Recorder(self.folder / "recordings"))

    def enter(self, party):
        self.addCleanup(party.stop)
        return party

    def speaker(self, *arguments, **options):
        speaker = Speaker(*arguments, **options)
        self.addCleanup(speaker.close)
        return speaker

    def client(self, scenario, offer, pause=500, **words):
        words = {"type": "application/sdp", "offer": offer, "require": "Require: siprec", **words}
        return self.enter(Sipp(self.folder, scenario, self.recorder.port, "-d", pause, **words))

    def recorded(self):
        """What the last session left, and what was told of it, once it has ended."""
        summary = self.recorder.wait_for("recorded.*")[0]
        return Recording(sorted((self.folder / "recordings").glob("*.wav"))[-1]), summary

    def assert_tone(self, recording, side, frequency, begin, end):
        """This tone and hardly anything else."""
        found, share = recording.tone(side, begin, end)
        self.assertAlmostEqual(found, frequency, delta=5)
        self.assertGreater(share, 0.99)

    def session(self, speakers, a_law=False, pause=500):
        """A session whose client pauses and goes on. Returns it, and the port for each speaker."""
        client = self.client("recording-client", sdp(speakers), pause, paused=sdp(speakers, "inactive"), resumed=sdp(speakers))
        ports, _ = client.wait_for_answer(0)
        return client, dict(zip(speakers, ports))

    def test_each_side_is_in_its_channel_and_a_pause_is_silent(self):
        for a_law in (False, True):
            with self.subTest(a_law=a_law):
                # The far side comes first in the offer: only the metadata tells which is which.
                far, near = speakers = self.speaker(FAR, a_law), self.speaker(NEAR, a_law)
                metadata = METADATA.format(far=1, near=2)
                client = self.client(
                    "recording-client",
                    with_metadata(sdp(speakers), metadata),
                    type=MULTIPART,
                    paused=with_metadata(sdp(speakers, "inactive"), metadata),
                    resumed=with_metadata(sdp(speakers), metadata),
                )
                ports, directions = client.wait_for_answer(0)
                self.assertEqual(directions, ["recvonly"] * 2)
                streams = dict(zip(speakers, ports))
                speak(streams, 0.4)
                self.assertEqual(client.wait_for_answer(1), (ports, ["inactive"] * 2))
                speak(streams, 0.2)  # in spite of it
                self.assertEqual(client.wait_for_answer(2), (ports, ["recvonly"] * 2))
                speak(streams, 0.4)
                self.assertEqual(client.result(), 0, client.errors())
                self.recorder.wait_for("is ended by the client")

                recording, summary = self.recorded()
                self.assertIn("far 40 packets, 0 lost; near 40 packets, 0 lost, 20 while paused", summary)
                self.assertAlmostEqual(recording.seconds, 1.4, delta=0.1)
                for side, frequency in ("near", NEAR), ("far", FAR):
                    self.assert_tone(recording, side, frequency, 0, 0.2)
                    self.assert_tone(recording, side, frequency, 0.2, 0.4)
                    self.assertFalse(recording.part(side, 0.42, 0.95).any())
                    self.assert_tone(recording, side, frequency, -0.39, -0.01)
                    self.assertAlmostEqual(recording.sounding(side, 0.001)[2], 0.8, delta=0.01)
                saved = list((self.folder / "recordings").glob("*.xml"))
                self.assertEqual({file.read_text() for file in saved}, {metadata})

    def test_every_code_is_decoded_and_lies_where_its_time_says(self):
        for a_law, decode in (False, audioop.ulaw2lin), (True, audioop.alaw2lin):
            with self.subTest(a_law=a_law):
                speaker = self.speaker(NEAR, a_law)
                client, streams = self.session([speaker], pause=300)
                codes = bytes(range(256))
                packets = [speaker.packet(codes) for _ in range(4)]
                speaker.sequence -= 4
                lost, swapped = 1, packets[3:1:-1]
                for packet in packets[:lost] + swapped + packets[2:3]:  # the last one comes twice
                    speaker.send(packet, streams[speaker])
                self.assertEqual(client.result(), 0, client.errors())
                recording, summary = self.recorded()
                expected = struct.unpack("<256h", decode(codes, 2))
                size = 256
                for number in range(4):
                    part = recording.sides["near"][number * size : (number + 1) * size]
                    self.assertEqual(tuple(part), expected if number != lost else (0.0,) * size)
                self.assertIn("near 4 packets", summary)
                self.assertFalse(recording.sides["far"].any())

    def test_only_packets_that_were_agreed_are_recorded(self):
        near, far, stranger = self.speaker(NEAR), self.speaker(FAR), self.speaker(700)
        client, streams = self.session([near, far], pause=400)
        port = streams[near]
        good = near.packet(near.piece())
        near.send(good, port)
        self.recorder.wait_for("first packet of the near side")
        stranger.send(stranger.packet(stranger.piece()), port)
        far.send(far.packet(far.piece()), port)
        extension = b"\x90" + good[1:12] + b"\xbe\xde\xff\xff"
        for torn in b"", good[:11], b"\x40" + good[1:], good[:12], b"\x8f" + good[1:20], extension, b"\xa0" + good[1:-1] + b"\xff":
            near.send(torn, port)
        near.send(good[:1] + b"\x65" + good[2:], port)  # another payload type
        near.send(good + bytes(3000), port)
        self.assertEqual(client.result(), 0, client.errors())
        recording, summary = self.recorded()
        self.assertEqual(recording.seconds, 0.02)
        self.assertRegex(summary, "near 1 packets, 0 lost; far 0 packets, 0 lost, 2 from elsewhere, 9 unreadable")

    def test_timestamps_that_jump_do_not_make_silence(self):
        near = self.speaker(NEAR)
        client, streams = self.session([near], pause=400)
        for jump in 0, 0x40000000, -0x30000000, 8000 * 3600 * 9:
            near.timestamp = (near.timestamp + jump) % 0x100000000
            near.send(near.packet(near.piece()), streams[near])
        self.assertEqual(client.result(), 0, client.errors())
        recording, _ = self.recorded()
        self.assertLess(recording.seconds, 2)

    def test_the_recorder_pauses_resumes_and_ends(self):
        near, far = speakers = self.speaker(NEAR), self.speaker(FAR)
        client = self.client("patient-client", sdp(speakers), paused=sdp(speakers, "inactive"), resumed=sdp(speakers))
        streams = dict(zip(speakers, client.wait_for_answer(0)[0]))
        speak(streams, 0.1)
        self.recorder.say("pause")
        self.recorder.wait_for("is paused")
        speak(streams, 0.1)
        self.recorder.say("resume 1")
        self.recorder.wait_for("expects packets")
        speak(streams, 0.1)
        self.recorder.say("end 1")
        self.recorder.wait_for("is ended here")
        self.assertEqual(client.result(), 0, client.errors())
        self.assertIn("near 10 packets, 0 lost; far 10 packets, 0 lost, 10 while paused", self.recorded()[1])

    def test_what_cannot_be_recorded_is_refused(self):
        speakers = [self.speaker(NEAR), self.speaker(FAR)]
        offer = sdp(speakers)
        faults = {
            "no recording": (421, offer, {"require": "Subject: a call"}),
            "an extension that nobody knows": (420, offer, {"require": "Require: siprec, telepathy"}),
            "no offer": (488, "", {}),
            "no SDP": (488, "hello", {}),
            "no stream": (488, offer.split("m=")[0], {}),
            "no format": (488, offer.replace("AVP 0", "AVP"), {}),
            "formats torn": (488, offer.replace("AVP 0", "AVP 0,\x018"), {}),
            "no G.711": (488, offer.replace("AVP 0", "AVP 9"), {}),
            "no speech": (488, offer.replace("m=audio", "m=video"), {}),
            "no address": (488, offer.replace("IN IP4 127.0.0.1", "IN IP4 somewhere"), {}),
            "too many streams": (488, offer + "m=audio 9 RTP/AVP 0\r\n" * 20, {}),
            "a body without parts": (400, offer, {"type": MULTIPART}),
            "formats of another kind": (488, offer.replace("RTP/AVP 0", "X /AVP"), {}),
        }
        # The SIP library's own parser ends the program at this one.
        torn = "--edge\r\nContent-Type\0\r\n\r\nv=0\r\n\r\n--edge--\r\n"
        message = (
            "INVITE sip:recorder@office SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:9;branch=z9hG4bK1\r\nFrom: <sip:a@b>;tag=1\r\n"
            "To: <sip:recorder@office>\r\nCall-ID: 1\r\nCSeq: 1 INVITE\r\nContact: <sip:a@127.0.0.1:9>\r\nRequire: siprec\r\n"
            f"Content-Type: {MULTIPART}\r\nContent-Length: {len(torn)}\r\n\r\n{torn}"
        )
        speakers[0].send(message.encode(), self.recorder.port)
        self.recorder.wait_for("is refused: unreadable SDP")
        for fault, (status, body, words) in faults.items():
            with self.subTest(fault=fault):
                client = self.client("refused-client", body, status=status, **words)
                self.assertEqual(client.result(), 0, client.errors())
        self.recorder.say("refuse 603")
        self.recorder.say("refuse 200")
        self.recorder.wait_for("what is \"refuse 200\"")
        self.assertEqual(self.client("refused-client", offer, status=603).result(), 0)
        self.recorder.say("accept")
        self.recorder.say("delay 60000")
        client = self.client("cancelling-client", offer)
        self.recorder.wait_for("is cancelled")
        self.assertEqual(client.result(), 0, client.errors())
        self.assertEqual(self.client("asking-client", "").result(), 0)
        self.assertEqual(list((self.folder / "recordings").iterdir()), [])

    @unittest.skipIf(b"__ubsan_" in (PROGRAMS / "recorder").read_bytes(), "the sanitizer needs descriptors of its own")
    def test_a_session_that_gets_no_ports_leaves_no_files(self):
        taken = {int(number) for number in os.listdir(f"/proc/{self.recorder.pid}/fd")}
        free = min(set(range(len(taken) + 1)) - taken)
        # One is left: enough for one stream or a file.
        resource.prlimit(self.recorder.pid, resource.RLIMIT_NOFILE, (free + 1, free + 1))
        client = self.client("refused-client", sdp([self.speaker(NEAR), self.speaker(FAR)]), status=500)
        self.assertEqual(client.result(), 0, client.errors())
        self.recorder.wait_for("Too many open files")
        self.assertEqual(list((self.folder / "recordings").iterdir()), [])

    def test_the_end_of_the_recorder_ends_its_sessions(self):
        near = self.speaker(NEAR)
        client = self.client("patient-client", sdp([near]), paused="", resumed="")
        streams = {near: client.wait_for_answer(0)[0][0]}
        speak(streams, 0.2)
        self.assertEqual(self.recorder.stop(), 0)
        recording, _ = self.recorded()
        self.assertAlmostEqual(recording.seconds, 0.2, delta=0.001)
        self.assertIn("unexpected BYE", client.errors())


if __name__ == "__main__":
    unittest.main()
