"""Recorded calls, whole: deskphone, the recorder, and baresip as the far end; tshark is the witness."""

import pathlib
import re
import resource
import signal
import tempfile
import time
import unittest

import clients  # noqa: F401  finds the modules below
from capture import Capture
from parties import Baresip, Deskphone, Recorder
from sound import Recording

NEAR, FAR = 440, 1200  # Hz
LINE, OTHER_LINE = "sip:100@office", "sip:200@office"


def talk(seconds=0.5):
    """Sound takes its time."""
    time.sleep(seconds)


class CallTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.recorder = self.enter(Recorder(self.folder / "recordings"))
        self.far_end = self.enter(Baresip(self.folder / "bob", FAR))
        self.phone = self.enter(Deskphone("--json", "--voice", f"tone:{NEAR}", accounts=(LINE, OTHER_LINE)))
        self.addCleanup(lambda: self.assertEqual(self.phone.finish(), 0, self.phone.story()))
        self.say("setRecordingModeConfig allcalls", f"setRecorderAddressConfig {self.recorder.uri}")

    def enter(self, party):
        self.addCleanup(party.stop)
        return party

    def say(self, *lines):
        for line in lines:
            self.phone.say(line)

    def await_command(self, *words):
        """The next time that the network has caused this."""
        self.phone.wait_for(r'"command":\[' + ",".join(f'"{re.escape(str(word))}"' for word in words))

    def call(self, line=LINE, far_end=None, streams=True):
        self.say(f"select {line}", f"dial {line} {(far_end or self.far_end).uri}")
        if streams:
            self.await_command("LMSEventStreaming")

    def hang_up(self, number=1):
        """The call still stands until then, and the far end hears the near side."""
        self.assertNotIn("terminated", self.far_end.story())
        self.say(f"hangup {number}")
        self.await_command("LMSDestroySession", number)

    def recorded(self, session=1):
        """What the session left, and the numbers of packets of the near and the far side in it."""
        path = next(re.search(r"records (.*)", line)[1] for line in self.recorder.lines if f"  {session}  records" in line)
        summary = self.recorder.wait_for(rf"  {session}  recorded .*")[0]
        packets = [int(count) for count in re.findall(r"(\d+) packets, 0 lost", summary)]
        self.assertEqual(len(packets), 2, summary)
        self.assertNotRegex(summary, "late|paused|elsewhere|unreadable")
        return Recording(path), packets

    def assert_sides(self, recording, begin=0, end=None, near=NEAR, far=FAR):
        """Each tone is in its channel, and nothing of the other."""
        for side, own, other in ("near", near, far), ("far", far, near):
            frequency, share = recording.tone(side, begin, end)
            self.assertAlmostEqual(frequency, own, delta=5, msg=side)
            self.assertGreater(share, 0.95, side)
            self.assertLess(recording.power_at(other, side, begin, end), recording.level(side, begin, end) - 50, side)

    def test_each_side_is_in_its_channel_from_the_beginning(self):
        self.call()
        talk()
        self.hang_up()
        recording, packets = self.recorded()
        self.assert_sides(recording, 0.02, 0.2)
        self.assert_sides(recording, 0.2, 0.4)
        for side, count in zip(("near", "far"), packets):
            self.assertGreater(count, 20)
            self.assertAlmostEqual(recording.sounding(side, 0.001)[2], count * 0.02, delta=0.003)

    def test_what_the_far_end_hears_is_not_disturbed(self):
        """... while the recorder pauses, its ports are closed, and it goes away."""
        self.call()
        talk(0.2)
        self.recorder.say("pause")
        self.await_command("LMSEventNotStreaming")
        self.recorder.say("resume")
        self.await_command("LMSEventStreaming")
        self.recorder.say("close")
        self.await_command("LMSEventErrorStatus", 1, 503)
        self.assertEqual(self.recorder.stop(), 0)
        talk(0.3)
        self.hang_up()
        self.far_end.stop()
        (heard,) = self.far_end.heard()
        recording = Recording(heard)
        begin, end, seconds = recording.sounding("near")
        self.assertGreater(seconds, 0.3)
        frequency, share = recording.tone("near", begin, end)
        self.assertAlmostEqual(frequency, NEAR, delta=5)
        self.assertGreater(share, 0.9)

    def test_the_recorder_pauses_resumes_and_ends(self):
        self.call()
        talk(0.3)
        self.recorder.say("pause")
        self.await_command("LMSEventNotStreaming")
        self.recorder.wait_for("is paused")
        talk(0.3)
        self.recorder.say("resume")
        self.await_command("LMSEventStreaming")
        talk(0.3)
        self.recorder.say("end")
        self.await_command("LMSEventErrorStatus")
        self.hang_up()
        recording, _ = self.recorded()
        self.assertFalse(recording.part("near", 0.5, 0.55).any() or recording.part("far", 0.5, 0.55).any())
        self.assert_sides(recording, 0, 0.25)
        self.assert_sides(recording, -0.25)

    def test_a_recorder_that_refuses_answers_late_or_comes_back(self):
        self.recorder.say("refuse 486")
        self.call(streams=False)
        self.await_command("LMSEventErrorStatus", 1, 486)
        self.hang_up()
        self.recorder.say("accept")
        self.recorder.say("delay 60000")
        self.call(streams=False)
        self.recorder.wait_for("is asked for")
        self.hang_up(2)
        self.recorder.wait_for("is cancelled")
        self.recorder.stop()
        self.call(streams=False)
        self.await_command("LMSEventErrorStatus", 3, 503)
        self.hang_up(3)
        self.recorder = self.enter(Recorder(self.folder / "later", port=self.recorder.port))
        self.call()
        talk(0.3)
        self.hang_up(4)
        self.assert_sides(self.recorded()[0])

    def test_a_call_that_comes_in_is_recorded(self):
        self.enter(Baresip(self.folder / "carol", 700, user="carol", dials=f"sip:100@127.0.0.1:{self.phone.port}"))
        self.say("answer 1")
        self.await_command("LMSEventStreaming")
        talk(0.4)
        self.hang_up()
        self.assert_sides(self.recorded()[0], far=700)

    def test_a_recorder_that_is_killed_in_mid_call_and_comes_back_records_the_rest(self):
        self.call()
        talk(0.2)
        self.assertEqual(self.recorder.kill(), -signal.SIGKILL)
        self.await_command("LMSEventErrorStatus", 1, 503)
        self.recorder = self.enter(Recorder(self.folder / "later", port=self.recorder.port))
        self.say("setRecordingModeConfig manual", "key")
        self.await_command("deactivateRecording")
        self.say("key")
        self.await_command("LMSEventStreaming")
        talk(0.3)
        self.hang_up()
        self.assert_sides(self.recorded()[0])

    def test_a_full_disk_ends_the_recording_and_not_the_call(self):
        resource.prlimit(self.recorder.pid, resource.RLIMIT_FSIZE, (50000, 50000))
        self.call()
        self.await_command("LMSEventErrorStatus", 1, 503)
        self.recorder.wait_for("the recording cannot be written")
        self.hang_up()
        (recording,) = (self.folder / "recordings").glob("*.wav")
        self.assert_sides(Recording(recording))

    def test_calls_at_once_are_recorded_side_by_side(self):
        other = self.enter(Baresip(self.folder / "carol", 700, user="carol"))
        for line, far_end in (LINE, self.far_end), (OTHER_LINE, other):
            self.say(f"dial {line} {far_end.uri}")
            self.await_command("LMSEventStreaming")
        talk(0.4)
        self.hang_up(2)
        self.hang_up(1)
        for session, far in (2, 700), (1, FAR):
            self.assert_sides(self.recorded(session)[0], far=far)

    def test_two_calls_at_once_do_not_mix(self):
        other = self.enter(Baresip(self.folder / "carol", 700, user="carol", codecs="PCMU"))
        self.call()
        talk(0.2)
        # The first recording pauses while the other line is selected.
        self.call(OTHER_LINE, other)
        talk(0.4)
        self.say(f"select {LINE}")
        self.await_command("LMSEventStreaming", 1)
        talk(0.3)
        self.hang_up(2)
        self.hang_up(1)
        self.assert_sides(self.recorded(2)[0], 0, 0.3, far=700)
        recording, _ = self.recorded(1)
        self.assert_sides(recording, 0, 0.15)
        self.assertFalse(recording.part("far", 0.45, 0.5).any())
        self.assert_sides(recording, -0.25)

    def test_nothing_on_the_wire_is_wrong(self):
        """No message is malformed, the metadata is known to be what it is, and packets flow only while agreed."""
        with Capture(self.folder / "wire.pcapng") as capture:
            self.call()
            talk(0.3)
            self.say(f"select {OTHER_LINE}")
            self.await_command("LMSEventNotStreaming", 1)
            self.recorder.wait_for("is paused")
            talk(0.3)
            self.say(f"select {LINE}")
            self.await_command("LMSEventStreaming")
            talk(0.3)
            self.hang_up()
            capture.wait_for(rb"BYE sip:\S*:%d\b" % self.recorder.port)
        ports = self.recorder.port, self.far_end.port, self.phone.port
        capture.dissect_sip(ports)
        # Others may use the interface meanwhile.
        ours = " || ".join(f"udp.port == {port}" for port in ports)
        self.assertGreater(capture.count(f"sip && ({ours})"), 15)
        self.assertEqual(capture.count(f"_ws.malformed && ({ours})"), 0)
        recorder = f"udp.dstport == {self.recorder.port}"
        once = "sip.resend == 0"  # a busy machine sends again
        self.assertEqual(capture.count(f'{recorder} && {once} && sip.Method == "INVITE" && mime_multipart && xml'), 1)
        # INVITEs to the recorder, and the direction that each asks for.
        offers = capture.fields(
            f'sip.Method == "INVITE" && {once} && udp.dstport == {self.recorder.port}',
            *("frame.time_epoch", "sdp.media_attr"),
        )
        answers = capture.fields(
            f'sip.Status-Code == 200 && sip.CSeq.method == "INVITE" && {once} && udp.srcport == {self.recorder.port}',
            *("frame.time_epoch", "sdp.media.port"),
        )
        self.assertEqual(
            [re.findall("sendonly|inactive", attributes) for _, attributes in offers],
            [["sendonly"] * 2, ["inactive"] * 2, ["sendonly"] * 2],
        )
        to = answers[0][1].split(",")
        self.assertEqual(len(set(to)), 2)
        (begin, _), (pause, _), (resume, _) = answers[0], offers[1], answers[2]
        (end, *_), *_ = capture.fields(f'sip.Method == "BYE" && udp.dstport == {self.recorder.port}', "frame.time_epoch")
        for port in to:
            times = [float(time) for (time,) in capture.fields(f"udp.dstport == {port}", "frame.time_epoch")]
            self.assertGreater(len(times), 25)
            self.assertEqual([t for t in times if not float(begin) <= t <= float(end)], [])
            self.assertEqual([t for t in times if float(pause) < t < float(resume)], [])


if __name__ == "__main__":
    unittest.main()
