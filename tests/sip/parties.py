"""The programs that take part in the tests of calls: each is started, spoken to, waited for and ended."""

import os
import pathlib
import re
import select
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "scripts"))
PROGRAMS = pathlib.Path(os.environ.get("PROGRAMS", HERE.parent.parent / "build/release/bin"))
PATIENCE = 20  # seconds to wait for what must come

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


class Party:
    """A program whose lines of output are read as they come."""

    def __init__(self, *command, **options):
        self.lines = []
        self._seen = 0
        self._news = threading.Condition()
        self._process = subprocess.Popen(
            [str(word) for word in command],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            errors="replace",
            **options,
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            with self._news:
                self.lines.append(line.rstrip("\n"))
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

    def result(self):
        """Waits for the end. Returns the exit status."""
        status = self._process.wait(PATIENCE)
        self._reader.join()
        return status

    def stop(self):
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGTERM)
        try:
            return self.result()
        except subprocess.TimeoutExpired:
            self._process.kill()
            raise AssertionError(f"{self} does not end:\n{self.story()}") from None
        finally:
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
        super().__init__(PROGRAMS / "recorder", "--listen", f"127.0.0.1:{port}", "--folder", folder, *options)
        self.port = int(self.wait_for(r"listening on sip:127\.0\.0\.1:(\d+)")[1])
        self.uri = f"sip:recorder@127.0.0.1:{self.port}"


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
