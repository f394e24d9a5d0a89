"""What scripts/call does once its packages are there."""

import contextlib
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import sound
from parties import TOP, Baresip, Deskphone, Party, Recorder

NEAR, FAR = 440, 1200  # Hz: what each side says
LINE, OTHER_LINE = "sip:100@office", "sip:200@office"


def story(recorder, far_end):
    """What happens, and for how many seconds after it people just talk."""
    return [
        ("# The lines record when their user says so.", 0),
        ("setRecordingModeConfig manual", 0),
        (f"setRecorderAddressConfig {recorder}", 0),
        ("# A call to another telephone. Nothing is recorded yet.", 0),
        (f"select {LINE}", 0),
        (f"dial {LINE} {far_end}", 0),
        (f"await LMSCreateSession {LINE}", 1.5),
        ("# The recording key is pressed in mid-call.", 0),
        ("key", 0),
        ("await LMSEventStreaming", 2.5),
        ("# Another line is selected: the recording pauses.", 0),
        (f"select {OTHER_LINE}", 1.5),
        ("# And the first one again.", 0),
        (f"select {LINE}", 0),
        ("await LMSEventStreaming", 2.5),
        ("# The user hangs up.", 0),
        ("hangup 1", 0),
        ("await LMSDestroySession", 0),
    ]


def tell(text):
    print(f"\n{text}", file=sys.stderr, flush=True)


def interrupted(*_):
    # Once is enough: what ends the programs must not be interrupted.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    sys.exit(130)


def main():
    signal.signal(signal.SIGINT, interrupted)
    signal.signal(signal.SIGTERM, interrupted)
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else TOP / "build/call").resolve()
    with contextlib.ExitStack() as parties:
        build = parties.enter_context(Party(TOP / "scripts/build", "release", shown=True, silent_input=True))
        if build.result(patience=None) != 0:
            return 1
        if len(sys.argv) == 1:
            shutil.rmtree(folder, ignore_errors=True)
        recorder = parties.enter_context(Recorder(folder))
        far_end = parties.enter_context(Baresip(folder / "far-end", FAR))
        tell(f"A telephone calls {far_end.uri}, and {recorder.uri} records the call:")
        telephone = parties.enter_context(
            Deskphone(
                *("--ladder", "--voice", f"tone:{NEAR}", "--save", folder / "call.scenario"),
                accounts=(LINE, OTHER_LINE),
                shown=True,
            )
        )
        for line, talk in story(recorder.uri, far_end.uri):
            telephone.say(line)
            time.sleep(talk)
        if telephone.finish() != 0:
            for party in far_end, recorder:
                print(f"\n{party}:\n{party.story()}", file=sys.stderr)
            return 1
        recording = pathlib.Path(recorder.wait_for(r" records (.*\.wav)")[1])
        recorder.wait_for("recorded")
        tell("The recorder's story:")
        print(recorder.story())
    picture = recording.with_suffix(".png")
    subprocess.run(
        ["sox", recording, "-n", "spectrogram", "-x", "900", "-y", "257", "-z", "70", "-t", "The recorded call", "-o", picture],
        check=True,
    )
    tell("The recording:")
    sound.describe(recording)
    print(f"{picture}: its picture, the near side above and the far side below")
    print(f"{folder / 'call.scenario'}: the same call as a scenario, for scripts/run")
    return 0


if __name__ == "__main__":
    sys.exit(main())
