"""The telephone on its network: SIPp is the far end and the recorder, and their sound comes and goes from here."""

import contextlib
import os
import pathlib
import resource
import select
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from clients import Sipp
from parties import PATIENCE, PROGRAMS, Deskphone

LINE = "sip:100@office"


def port_for(kind=socket.SOCK_DGRAM):
    """A port that is free now."""
    with socket.socket(socket.AF_INET, kind) as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Ear:
    """A port for sound, which keeps what comes in."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.packets = []

    def hear(self, count, patience=PATIENCE):
        """So many packets more, or as many as come within the time; their sender is kept."""
        end = time.monotonic() + patience
        heard = []
        while len(heard) < count and select.select([self.socket], [], [], max(0, end - time.monotonic()))[0]:
            packet, self.sender = self.socket.recvfrom(2000)
            heard.append(packet)
        return heard

    def clear(self):
        self.hear(100000, 0)

    def close(self):
        self.socket.close()


def sdp(*ports, direction="sendrecv", formats="8"):
    text = "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
    return text + "".join(f"m=audio {port} RTP/AVP {formats}\r\na={direction}\r\n" for port in ports)


class Server(Sipp):
    """SIPp as a far end or a recorder, on a port of its own."""

    def __init__(self, folder, scenario, **words):
        port = port_for()
        super().__init__(folder, scenario, 9, "-p", port, **words)
        self.uri = f"sip:party@127.0.0.1:{port}"
        self._wait(lambda: f":{port:04X} " in pathlib.Path("/proc/net/udp").read_text(), "listens")

    def wait_for_log(self, text, times=1):
        """Until it was sent this text so often."""
        self._wait(lambda: self._log.exists() and self._log.read_text().count(text) >= times, text)

    def _wait(self, happened, what):
        end = time.monotonic() + PATIENCE
        while not happened():
            if time.monotonic() > end:
                raise AssertionError(f"SIPp never had {what!r}:\n{self.story()}\n{self.errors()}")
            time.sleep(0.005)


class TelephoneTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.ear = self.new_ear()  # the far end's

    def enter(self, party):
        self.addCleanup(party.stop)
        return party

    def new_ear(self):
        ear = Ear()
        self.addCleanup(ear.close)
        return ear

    def party(self, scenario, **words):
        words = {"changed": sdp(self.ear.port), "answer": sdp(self.ear.port), "verdict": "200 OK", **words}
        return self.enter(Server(self.folder, scenario, **words))

    def telephone(self, *options, mode="allcalls", recorder="", **how):
        telephone = self.enter(Deskphone("--patience", 2, *options, **how))
        telephone.say(f'setRecorderAddressConfig "{recorder}"')
        telephone.say(f"setRecordingModeConfig {mode}")
        return telephone

    def call(self, telephone, **words):
        """To a far end of SIPp, which is returned once the call stands."""
        far_end = self.party("answering-party", **words)
        telephone.say(f"dial {LINE} {far_end.uri}")
        telephone.wait_for(rf"LMSCreateSession {LINE} \d+")
        return far_end

    def hang_up(self, telephone, far_end, call=1):
        """The call has stood until now: its sound still comes, and its end is answered."""
        self.ear.clear()
        self.assertEqual(len(self.ear.hear(3)), 3)
        telephone.say(f"hangup {call}")
        telephone.wait_for(r"LMSDestroySession \d+")
        self.assertEqual(far_end.result(), 0, far_end.errors())

    def finish(self, telephone):
        self.assertEqual(telephone.finish(), 0, telephone.story())

    def test_each_failure_of_the_recorder_is_told_with_its_status_and_leaves_the_call_alone(self):
        refusals = [
            (self.party("refusing-party", status=f"{status} No").uri, status) for status in (404, 486, 500, 503, 603)
        ]
        silent = self.new_ear()
        unusable = [
            self.party("answering-party", answer=answer)
            for answer in (sdp(), sdp(4000), sdp(0, 0), sdp(4000, 4002, formats="18"), "nonsense", sdp(4000, 4002, 4004))
        ]
        nobody = f"sip:recorder@127.0.0.1:{port_for()}"
        cases = refusals + [(recorder.uri, 488) for recorder in unusable]
        cases += [(nobody, 503), (f"sip:recorder@127.0.0.1:{silent.port}", 408), ("4321", 416), ("tel:4321", 416)]
        for recorder, status in cases:
            with self.subTest(recorder=recorder, status=status):
                telephone = self.telephone(recorder=recorder)
                far_end = self.call(telephone)
                telephone.wait_for(rf"LMSEventErrorStatus 1 {status}$")
                self.hang_up(telephone, far_end)
                self.finish(telephone)
                self.assertIn("content_callrecording_FailedToStart", telephone.story())
        for recorder in unusable:
            self.assertEqual(recorder.result(), 0, recorder.errors())

    def test_both_sides_packets_reach_the_recorder_as_they_are_and_only_while_they_may(self):
        near, far = self.new_ear(), self.new_ear()
        taken = sdp(near.port, far.port, direction="recvonly")
        paused = sdp(near.port, far.port, direction="inactive")
        recorder = self.party("answering-party", answer=taken, changed=paused)
        saved = self.folder / "saved.scenario"
        telephone = self.telephone("--json", "--log", 0, "--save", saved, recorder=recorder.uri)
        far_end = self.party("answering-party")
        telephone.say(f"dial {LINE} {far_end.uri}")
        telephone.wait_for(r'"LMSEventStreaming","1","1","1"')
        heard = near.hear(5)
        own = self.ear.hear(50, 1)
        self.assertTrue(set(heard) <= set(own))
        stranger = self.new_ear()
        packets = [bytes([0x80, 8, 0, n]) + bytes(8) + bytes([n] * 160) for n in range(4)]
        for sender, packet in ((self.ear, packets[0]), (stranger, packets[1]), (self.ear, packets[2])):
            sender.socket.sendto(packet, self.ear.sender)
        wrong_kind = bytes([0x80, 0]) + packets[3][2:]
        for packet in (wrong_kind, b"", b"\x80\x08", bytes(1400), packets[3]):
            self.ear.socket.sendto(packet, self.ear.sender)
        self.assertEqual(far.hear(3), [packets[0], packets[2], packets[3]])
        telephone.say("setLineStatus sip:200@office 11")
        telephone.wait_for(r'setDirection","args":\[1,0,2\]')
        recorder.wait_for_log("a=inactive")
        for ear in (near, far, self.ear):
            ear.clear()
        self.ear.socket.sendto(packets[0], self.ear.sender)
        self.assertEqual(len(self.ear.hear(10)), 10)
        self.assertEqual(near.hear(1, 0) + far.hear(1, 0), [])
        self.hang_up_json(telephone, far_end)
        self.assertEqual(recorder.result(), 0, recorder.errors())
        self.finish(telephone)
        replayed = subprocess.run([PROGRAMS / "deskphone", "--json", "--log", "0", saved], capture_output=True, text=True)
        live = [line for line in telephone.story().splitlines() if line.startswith("{")]
        self.assertEqual(replayed.stdout.splitlines(), live)
        told = [line for line in saved.read_text().splitlines() if line.startswith("# ")]
        self.assertEqual(len(told), len(set(told)), told)
        self.assertRegex(told[-1], r"^# \d\d:\d\d:\d\d\.\d\d\d call 1 hung up$")

    def hang_up_json(self, telephone, far_end):
        telephone.say("hangup 1")
        telephone.wait_for('"LMSDestroySession"')
        self.assertEqual(far_end.result(), 0, far_end.errors())

    def test_an_answer_that_crosses_the_cancel_gets_a_bye(self):
        recorder = self.party("late-party", answer=sdp(4000, 4002))
        telephone = self.telephone(recorder=recorder.uri)
        far_end = self.call(telephone)
        telephone.wait_for("CSfi.attachRecSession")
        self.hang_up(telephone, far_end)
        self.assertEqual(recorder.result(), 0, recorder.errors())
        self.finish(telephone)
        self.assertNotIn("LMSEventAttached", telephone.story())

    def test_a_closed_port_of_the_recorder_ends_the_recording_and_not_the_call(self):
        recorder = self.party("answering-party", answer=sdp(port_for(), port_for(), direction="recvonly"))
        telephone = self.telephone(recorder=recorder.uri)
        far_end = self.call(telephone)
        telephone.wait_for(r"LMSEventErrorStatus 1 503$")
        telephone.wait_for("content_common_failed")
        self.assertEqual(recorder.result(), 0, recorder.errors())
        self.hang_up(telephone, far_end)
        self.finish(telephone)

    def test_a_call_comes_in_is_held_by_the_far_end_and_goes_on(self):
        near, far = self.new_ear(), self.new_ear()
        taken = sdp(near.port, far.port, direction="recvonly")
        recorder = self.party("answering-party", answer=taken, changed=taken)
        telephone = self.telephone(recorder=recorder.uri)
        telephone.say("answer 1")
        parts = f"--edge\r\nContent-Type: application/sdp\r\n\r\n{sdp(self.ear.port)}\r\n--edge\r\n\r\nmore\r\n--edge--\r\n"
        halted = parts.replace("c=IN IP4 127.0.0.1", "c=IN IP4 0.0.0.0")
        words = {"offer": parts, "halted": halted, "type": 'multipart/mixed;boundary="edge"'}
        caller = self.enter(Sipp(self.folder, "caller", telephone.port, "-d", 500, **words))
        for step in (
            rf"LMSCreateSession {LINE} 1",
            r"LMSEventAttached 1 1 1",
            r"LMSEventStreaming 1 1 1",
            r"held by the far end",
            r"LMSEventNotStreaming 1",
            r"resumed by the far end",
            r"LMSEventStreaming 1 1 1",
            r"LMSDestroySession 1",
        ):
            telephone.wait_for(step)
        self.assertEqual(caller.result(), 0, caller.errors())
        self.assertEqual(recorder.result(), 0, recorder.errors())
        self.finish(telephone)

    def test_who_asks_for_a_password_is_told_it(self):
        passwords = self.folder / "passwords"
        passwords.write_text(f"{LINE} secret\n")
        near, far = self.new_ear(), self.new_ear()
        taken = sdp(near.port, far.port, direction="recvonly")
        verified = 'verifyauth username="100" password="secret"'
        recorder = self.party("challenging-party", challenge="401 Unauthorized\nWWW", check=verified, answer=taken)
        telephone = self.telephone("--passwords", passwords, recorder=recorder.uri)
        # SIPp verifies nothing that is for a proxy.
        named = 'ereg regexp="Digest username=.100., realm=.office." search_in="hdr" header="Proxy-Authorization:"'
        far_end = self.party("challenging-party", challenge="407 Proxy Authentication Required\nProxy", check=named)
        telephone.say(f"dial {LINE} {far_end.uri}")
        telephone.wait_for(r"LMSEventStreaming 1 1 1")
        self.hang_up(telephone, far_end)
        self.assertEqual(recorder.result(), 0, recorder.errors())
        self.finish(telephone)

    def test_changes_that_cross_others_are_tried_again(self):
        near, far = self.new_ear(), self.new_ear()
        taken = sdp(near.port, far.port, direction="recvonly")
        pending = "491 Request Pending"
        recorder = self.party("answering-party", answer=taken, changed=taken, verdict=pending)
        telephone = self.telephone(recorder=recorder.uri)
        far_end = self.call(telephone, verdict=pending)
        telephone.wait_for(r"LMSEventStreaming 1 1 1")
        far_end.wait_for_log("a=record:on", times=2)
        telephone.say("setLineStatus sip:200@office 11")
        recorder.wait_for_log("a=inactive", times=4)  # two streams, and twice
        far_end.wait_for_log("a=record:paused")
        for party, changes in ((far_end, 3), (recorder, 2)):
            party.wait_for_log("acknowledged", changes)
        telephone.say("hangup 1")
        for party in far_end, recorder:
            self.assertEqual(party.result(), 0, party.errors())
        self.finish(telephone)
        self.assertNotIn("LMSEventErrorStatus", telephone.story())

    def test_a_recording_follows_the_codec_of_its_call_or_ends(self):
        for verdict in "200 OK", "488 Not Acceptable Here":
            with self.subTest(verdict=verdict):
                near, far = self.new_ear(), self.new_ear()
                taken = sdp(near.port, far.port, direction="recvonly", formats="8 0")
                recorder = self.party("answering-party", answer=taken, changed=taken, verdict=verdict)
                telephone = self.telephone(recorder=recorder.uri)
                telephone.say("answer 1")
                words = {"offer": sdp(self.ear.port), "halted": sdp(self.ear.port, formats="0"), "type": "application/sdp"}
                caller = self.enter(Sipp(self.folder, "caller", telephone.port, "-d", 500, **words))
                telephone.wait_for(r"LMSEventStreaming 1 1 1")
                recorder.wait_for_log("RTP/AVP 0\n")
                if verdict == "200 OK":
                    recorder.wait_for_log("RTP/AVP 8\n", times=4)  # two streams, and twice
                else:
                    telephone.wait_for(r"LMSEventErrorStatus 1 488")
                telephone.wait_for(r"LMSDestroySession 1")
                self.assertEqual(caller.result(), 0, caller.errors())
                self.assertEqual(recorder.result(), 0, recorder.errors())
                self.finish(telephone)
                self.assertEqual(telephone.story().count("LMSEventStreaming"), 1)
                self.assertNotIn("LMSEventNotStreaming", telephone.story())
                codecs = [packet[1] & 0x7F for packet in near.hear(1000, 0)]
                changes = [codec for at, codec in enumerate(codecs) if codecs[at - 1 : at] != [codec]]
                self.assertEqual(changes, [8, 0, 8] if verdict == "200 OK" else [8])

    @unittest.skipIf(b"__ubsan_" in (PROGRAMS / "deskphone").read_bytes(), "the sanitizer needs descriptors of its own")
    def test_without_descriptors_what_is_new_fails_and_the_call_goes_on(self):
        telephone = self.telephone(recorder="sip:recorder@127.0.0.1:9", accounts=(LINE, "sip:recorder@office"))
        telephone.wait_for("setRecordingModeConfig")
        taken = sorted(int(one.name) for one in pathlib.Path(f"/proc/{telephone.pid}/fd").iterdir())
        free = sorted(set(range(len(taken) + 2)) - set(taken))
        # One more is left: enough for the call, too few for its recording.
        resource.prlimit(telephone.pid, resource.RLIMIT_NOFILE, (free[0] + 1, free[0] + 1))
        far_end = self.call(telephone)
        telephone.wait_for(r"a port for sound: Too many open files")
        telephone.wait_for(r"LMSEventErrorStatus 1 503")
        words = {"offer": sdp(self.ear.port), "type": "application/sdp", "require": "Subject: a call", "status": 480}
        refused = self.enter(Sipp(self.folder, "refused-client", telephone.port, **words))
        self.assertEqual(refused.result(), 0, refused.errors())
        self.hang_up(telephone, far_end)
        self.assertEqual(telephone.finish(), 0)
        self.assertIn("call 2 cannot come in", telephone.story())

    def test_an_account_registers_with_its_password_and_no_other(self):
        passwords = self.folder / "passwords"
        passwords.write_text(f'# the office\n{LINE} "open sesame"\n')
        for known, answer in (("open sesame", "200 OK"), ("another", "403 Wrong Password")):
            registrar = self.party("registrar", password=known)
            telephone = self.telephone("--registrar", registrar.uri, "--passwords", passwords, mode="disabled")
            while "registration" not in telephone.story():  # told with the next step
                telephone.say("getRecordingMode")
                telephone.wait_for("getRecordingMode")
            self.finish(telephone)
            self.assertEqual(registrar.result(), 0, registrar.errors())
            self.assertIn(f"{LINE} registration: {answer}", telephone.story())

    def test_a_record_aware_far_end_is_told(self):
        near, far = self.new_ear(), self.new_ear()
        taken = sdp(near.port, far.port, direction="recvonly")
        recorder = self.party("answering-party", answer=taken, changed=taken)
        telephone = self.telephone(mode="manual", recorder=recorder.uri)
        far_end = self.call(telephone)
        # The library would say, and take, more than this telephone can.
        far_end.wait_for_log("Allow: INVITE, ACK, BYE, CANCEL, OPTIONS\n")
        far_end.wait_for_log("Supported: record-aware\n")
        for told in ("on", "off"):
            telephone.say("key")
            far_end.wait_for_log(f"a=record:{told}")
        self.hang_up(telephone, far_end)
        self.finish(telephone)

    def test_garbage_and_floods_leave_the_call_alone(self):
        telephone = self.telephone(mode="disabled")
        far_end = self.call(telephone)
        target = ("127.0.0.1", telephone.port)
        options = (
            "OPTIONS sip:100@office SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:9;branch=z9hG4bK{0}\r\nFrom: <sip:a@b>;tag=1\r\n"
            "To: <sip:100@office>\r\nCall-ID: {0}\r\nCSeq: 1 OPTIONS\r\nMax-Forwards: 70\r\nContent-Length: 0\r\n\r\n"
        )
        invite = (
            "INVITE sip:{1}@office SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:9;branch=z9hG4bKi{0}\r\nFrom: <sip:a@b>;tag=1\r\n"
            "To: <sip:100@office>\r\nCall-ID: i{0}\r\nCSeq: 1 INVITE\r\nMax-Forwards: 70\r\nContact: <sip:a@127.0.0.1:9>\r\n"
            "Content-Type: {4}\r\nContent-Length: {2}\r\n\r\n{3}"
        )
        # The SIP library's own parsers take all memory at some of these, and end the program at the last one.
        bodies = ["nonsense", sdp(4000).replace(" 8", ""), sdp(4000, formats=",").replace("RTP", "X"), sdp(), "v=0\r\n" + "m=audio 4000 RTP/AVP 8\r\n" * 2000]
        bodies += [sdp(4000).replace("4000 RTP/AVP", "0b /c"), "--edge\r\nContent-Type\0\r\n\r\nv=0\r\n\r\n--edge--\r\n"]
        with contextlib.closing(self.new_ear()) as attacker:
            for number in range(500):
                attacker.socket.sendto(options.format(number).encode(), target)
                attacker.socket.sendto(os.urandom(number), target)
            for number, body in enumerate(bodies):
                kind = "multipart/mixed;boundary=edge" if body.startswith("--") else "application/sdp"
                attacker.socket.sendto(invite.format(number, "100", len(body), body, kind).encode(), target)
            attacker.socket.sendto(invite.format(99, "nobody", 8, "nonsense", "application/sdp").encode(), target)
        self.hang_up(telephone, far_end)
        self.finish(telephone)
        self.assertNotIn("rings", telephone.story())

    def test_mistakes_on_the_network_name_their_line(self):
        for lines, mistake in {
            "await LMSCreateSession sip:1 7 0": "has not caused LMSCreateSession sip:1 7 within 0 seconds",
            "await getData": "never causes getData",
            "dial sip:9@office sip:1@127.0.0.1": "no line",
            f"dial {LINE} tel:4321": "tel:4321 is no SIP URI",
            "hangup 1": "there is no call 1",
            "select sip:9@office": "no line",
        }.items():
            file = self.folder / "mistake.scenario"
            file.write_text(f"log 0\n{lines}\nlog 1\n")
            command = [PROGRAMS / "deskphone", "--sip", "127.0.0.1:0", "--account", LINE, file]
            played = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual(played.returncode, 2, played)
            self.assertIn(f"{file}:2: ", played.stderr)
            self.assertIn(mistake, played.stderr)

    def test_it_ends_when_it_is_told_to_although_the_far_end_is_silent(self):
        telephone = self.telephone(mode="disabled")
        far_end = self.call(telephone)
        os.kill(far_end.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, far_end.pid, signal.SIGKILL)
        self.assertEqual(telephone.stop(), 128 + signal.SIGTERM)
        self.assertIn("LMSDestroySession 1", telephone.story())


if __name__ == "__main__":
    unittest.main()
