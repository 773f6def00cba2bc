"""Runs the host program, for the tests that look at what it prints."""
import os
import subprocess
import tempfile

HOST = os.environ["VYN_HOST"]
EMULATOR = os.environ.get("VYN_EMULATOR", "").split()


def vynhost(*arguments, program=None, given="", **environment):
    """Runs the host, on a program text where one is given. Answers status, output and error output."""
    with tempfile.NamedTemporaryFile("w", suffix=".lua") as file:
        if program is not None:
            file.write(program)
            file.flush()
            arguments = (*arguments, file.name)
        run = subprocess.run([*EMULATOR, HOST, *arguments], input=given, capture_output=True, text=True, timeout=60,
                             env={**os.environ, **environment})
    return run.returncode, run.stdout, run.stderr
