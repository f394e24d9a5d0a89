"""The programs that take part in calls: each is started, spoken to, waited for and ended."""

import os
import pathlib
import re
import signal
import subprocess
import threading
import time

import sound

TOP = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = pathlib.Path(os.environ.get("PROGRAMS", TOP / "build/release/bin"))
PATIENCE = 20  # seconds to wait for what must come


class Party:
    """A program whose lines of output are read as they come, and printed if they are to be shown."""

    def __init__(self, *command, shown=False, silent_input=False, **options):
        self.lines = []
        self._shown = shown
        self._seen = 0
        self._news = threading.Condition()
        self._process = subprocess.Popen(
            [str(word) for word in command],
            stdin=subprocess.DEVNULL if silent_input else subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            errors="replace",
            start_new_session=True,  # an interrupt is for the one who started it
            **options,
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            with self._news:
                self.lines.append(line.rstrip("\n"))
                if self._shown:
                    print(self.lines[-1], flush=True)
                self._news.notify_all()
        with self._news:
            self.lines.append(None)
            self._news.notify_all()

    def wait_for(self, pattern):
        """The match in the next line that has one; lines before it are passed over."""
        with self._news:
            deadline = time.monotonic() + PATIENCE
            while True:
                while self._seen < len(self.lines):
                    line = self.lines[self._seen]
                    self._seen += 1
                    if line is None:
                        self._seen -= 1
                        raise AssertionError(f"{self} ended before {pattern!r}:\n{self.story()}")
                    match = re.search(pattern, line)
                    if match:
                        return match
                if not self._news.wait(deadline - time.monotonic()):
                    raise AssertionError(f"{self} never said {pattern!r}:\n{self.story()}")

    def story(self):
        return "\n".join(line for line in self.lines if line is not None)

    def say(self, line):
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()

    def finish(self):
        """Says that there is no more to say, and waits for the end. Returns the exit status."""
        self._process.stdin.close()
        return self.result()

    def result(self, patience=PATIENCE):
        """Waits for the end. Returns the exit status."""
        status = self._process.wait(patience)
        self._reader.join()
        return status

    def stop(self, how=signal.SIGTERM):
        if self._process.poll() is None:
            os.killpg(self.pid, how)
        try:
            return self.result()
        except subprocess.TimeoutExpired:
            self._process.kill()
            raise AssertionError(f"{self} does not end:\n{self.story()}") from None
        finally:
            if self._process.stdin:
                self._process.stdin.close()
            self._process.stdout.close()

    @property
    def pid(self):
        return self._process.pid

    def __str__(self):
        return pathlib.Path(self._process.args[0]).name

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


class Recorder(Party):
    def __init__(self, folder, *options, port=0):
        # A file that must not grow fails as on a full disk: Python ignores the signal for it, and so does what it starts.
        super().__init__(PROGRAMS / "recorder", "--listen", f"127.0.0.1:{port}", "--folder", folder, *options, restore_signals=False)
        self.port = int(self.wait_for(r"listening on sip:127\.0\.0\.1:(\d+)")[1])
        self.uri = f"sip:recorder@127.0.0.1:{self.port}"

    def kill(self):
        return super().stop(signal.SIGKILL)

    def stop(self, how=signal.SIGTERM):
        status = super().stop(how)
        assert status in (0, -signal.SIGKILL), f"recorder ended with {status}:\n{self.story()}"
        return status


def udp_ports(process):
    """The UDP ports that a process has on loopback addresses."""
    names = [os.readlink(one) for one in pathlib.Path(f"/proc/{process}/fd").iterdir()]
    inodes = set(re.findall(r"socket:\[(\d+)\]", " ".join(names)))
    table = [line.split() for line in pathlib.Path("/proc/net/udp").read_text().splitlines()[1:]]
    places = [words[1].split(":") for words in table if words[9] in inodes]
    return {int(port, 16) for address, port in places if address.endswith("7F")}


class Baresip(Party):
    """A far end that answers every call, or dials a URI, says a tone and keeps what it hears."""

    def __init__(self, folder, tone, user="bob", address="127.0.0.1", codecs="PCMA,PCMU", answers=True, dials=None):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        modules = "".join(f"module {name}.so\n" for name in ("g711", "account", "aufile", "sndfile"))
        (self.folder / "config").write_text(
            f"sip_listen {address}:0\nmodule_path /usr/lib/baresip/modules\n{modules}module_app menu.so\n"
            f"audio_source aufile,{self.folder}/tone.wav\naudio_player aufile,/dev/null\naudio_alert aufile,/dev/null\n"
            f"snd_path {self.folder}\n"
        )
        sound.write_tone(self.folder / "tone.wav", tone, seconds=60)
        mode = "auto" if answers else "manual"
        (self.folder / "accounts").write_text(
            f"<sip:{user}@{address}>;regint=0;answermode={mode};audio_codecs={codecs}\n"
        )
        dialling = ["-e", f"/dial {dials}"] if dials else []
        super().__init__("baresip", "-f", self.folder, "-n", address, *dialling, silent_input=True)
        self.wait_for("baresip is ready")
        (self.port,) = udp_ports(self.pid)
        self.uri = f"sip:{user}@{address}:{self.port}"

    def stop(self):
        # Told twice, it does not wait for the others to say that they have heard of the end.
        try:
            os.killpg(self.pid, signal.SIGTERM)
            self.result(patience=0.5)
        except (ProcessLookupError, subprocess.TimeoutExpired):
            pass
        return super().stop()

    def heard(self):
        """The files of what the far end heard."""
        return sorted(self.folder.glob("dump-*-dec.wav"))


class Deskphone(Party):
    """A telephone whose lines are `accounts`; what it shows is on standard output."""

    def __init__(self, *options, accounts=("sip:100@office",), scenario="-", **how):
        lines = [word for account in accounts for word in ("--account", account)]
        super().__init__(PROGRAMS / "deskphone", "--sip", "127.0.0.1:0", *lines, *options, scenario, **how)
        self.port = int(self.wait_for(r"on the network at .*:(\d+)")[1])
