#!/usr/bin/env python3
"""Changes one line of the library at a time and reports whether a test fails.

    Tools/mutate.py [--seed N] [--count N] [--jobs N]

Works in copies of the tree, as many at a time as there are processors. A mutant that does not compile does not count,
nor does one that leaves the built bytes unchanged (code for another machine). A mutant is killed when a test fails or
runs out of time. The slow tests, in which every call fails in turn, run only on mutants that the others let live.
Prints the survivors at the end. Lines that only write the debug log are left out: the tests compare a sample of them.
"""
import argparse
import concurrent.futures
import hashlib
import os
import pathlib
import random
import re
import signal
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
QUIET = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
BUILD = "build/debug"
LIMIT = 240  # seconds for one group of tests; without a fault, no group takes half as long
SLOW = "^(SystemFault|HostFault.EveryHostCall)"
LEFT_OUT_TESTS = "NOT_BUILT|test_instructions|test_docs|test_library|test_namespaces"

# Texts, characters and comments stay as they are; so do lines of the log, of the preprocessor and of static checks.
MASKED = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'|//.*')
LEFT_OUT = re.compile(r"\b(TRACE|k?Trace\w*|Log\w+|LOG_\w+|Report|gDebugging)\b|^\s*#|static_assert|^\s*\*")
BOOLEAN_HEAD = re.compile(r"(?:static |inline |constexpr |\[\[nodiscard\]\] )*(?:bool|BooleanWord) ")

FLIPPED = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">", "&&": "||", "||": "&&"}


def one_more(match):
    return hex(int(match[0], 16) + 1) if match[0][:2] in ("0x", "0X") else str(int(match[0]) + 1)


# a pattern, and its replacement; texts and comments are blanked out before the search
OPERATORS = (
    (re.compile(r"(?<= )(==|!=|<=?|>=?|&&|\|\|)(?= )"), lambda match: FLIPPED[match[0]]),
    # a number, but not the length in a buffer's declaration: a longer one does the same
    (re.compile(r"(?<!\.)\b(0x[0-9A-Fa-f]+|\d+)\b(?!\.\d|\](;| =))"), one_more),
    # a statement that is only a call, even after an "if"
    (re.compile(r"(?:(?<=    )|(?<=\) ))(?!return\b)[\w:.>-]+\([^;]*\);$"), lambda match: ";"),
)
RETURN = re.compile(r"\breturn (.+);")  # in functions that answer yes or no


def mutants_of_line(line, answers_boolean):
    masked = MASKED.sub(lambda match: " " * len(match[0]), line).rstrip()
    if LEFT_OUT.search(masked):
        return
    for pattern, change in OPERATORS:
        for match in pattern.finditer(masked):
            yield line[:match.start()] + change(match) + line[match.end():]
    result = RETURN.search(masked)
    if result and answers_boolean:
        yield line[:result.start(1)] + "!(" + line[result.start(1):result.end(1)] + ")" + line[result.end(1):]


def mutants():
    for folder in ("Source", "Libs"):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix not in (".cpp", ".h", ".inc") or path.parent.name == "HostCheck":
                continue
            answers_boolean = False
            for number, line in enumerate(path.read_text(encoding="utf-8").split("\n")):
                if re.match(r"\w|\[\[", line):  # the head of a function begins its line
                    answers_boolean = bool(BOOLEAN_HEAD.match(line))
                for changed in mutants_of_line(line, answers_boolean):
                    yield path.relative_to(ROOT), number, line, changed


def failures(copy, *selection):
    """The first test that fails, or runs out of time, in a list. Its processes end with it."""
    command = ["ctest", "--test-dir", BUILD, "-j1", "--stop-on-failure", *selection]
    with subprocess.Popen(command, cwd=copy, start_new_session=True, stdout=subprocess.PIPE, text=True,
                          stderr=subprocess.DEVNULL) as process:
        try:
            output = process.communicate(timeout=LIMIT)[0]
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            return ["(out of time)"]
    return re.findall(r"^\s*\d+ - (.+?) \(\w", output.partition("The following tests FAILED")[2], re.MULTILINE)


def noticed_by(copy):
    """The first test that notices."""
    return failures(copy, "-E", f"{LEFT_OUT_TESTS}|{SLOW}") or failures(copy, "-R", SLOW)


def build(copy):
    """The hashes of the built files; None when the copy does not compile."""
    command = ["cmake", "--build", BUILD, "-j1", "--target", "unit_tests", "VYNNetwork", "vynhost", "small_host"]
    if subprocess.run(command, cwd=copy, **QUIET).returncode != 0:
        return None
    files = copy / BUILD / "unit_tests", *(copy / BUILD).glob("*.so.*")
    return [hashlib.sha256(file.read_bytes()).digest() for file in files]


class Workplace:
    """A built copy in which every test passes. Warnings don't fail its builds."""

    def __init__(self, folder):
        self.copy = pathlib.Path(folder)
        self.copy.mkdir()
        copy = 'git ls-files -z | xargs -0 cp --parents -pt "$0"'
        subprocess.run(["sh", "-c", copy, self.copy], cwd=ROOT, check=True)
        flags = "-DCMAKE_CXX_FLAGS=-w -O1"
        subprocess.run(["cmake", "--preset", "debug", flags], cwd=self.copy, check=True, **QUIET)
        self.unchanged = build(self.copy)
        if self.unchanged is None or (failing := noticed_by(self.copy)):
            raise SystemExit(f"mutate: the tree does not build, or a test fails before anything is changed: "
                             f"{'no build' if self.unchanged is None else failing}")

    def try_out(self, path, number, after):
        """The first test that notices; None for a change that does not count."""
        original = (self.copy / path).read_text(encoding="utf-8")
        lines = original.split("\n")
        lines[number] = after
        (self.copy / path).write_text("\n".join(lines), encoding="utf-8")
        try:
            return None if build(self.copy) in (None, self.unchanged) else noticed_by(self.copy)
        finally:
            (self.copy / path).write_text(original, encoding="utf-8")


def start_work(folder):
    """Gives this process a place of its own."""
    global place
    place = Workplace(f"{folder}/{os.getpid()}")


def try_out(mutant):
    path, number, _, after = mutant
    return place.try_out(path, number, after)


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--count", type=int, default=60)
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    given = options.parse_args()

    chosen = list(mutants())
    print(f"{len(chosen)} mutants can be made; {given.count} of them by seed {given.seed}", flush=True)
    random.Random(given.seed).shuffle(chosen)
    survivors, killed = [], 0
    with (tempfile.TemporaryDirectory() as folder,
          concurrent.futures.ProcessPoolExecutor(given.jobs, initializer=start_work, initargs=(folder,)) as pool):
        for (path, number, before, after), tests in zip(chosen, pool.map(try_out, chosen)):
            if tests is None:
                continue
            print(f"{path}:{number + 1}: {after.strip()}  <- {', '.join(tests) or 'survived'}"[:240], flush=True)
            killed += bool(tests)
            survivors += [f"{path}:{number + 1}: {before.strip()} -> {after.strip()}"] * (not tests)
            if killed + len(survivors) == given.count:
                pool.shutdown(cancel_futures=True)
                break
    print("", "survived:", *survivors, sep="\n")
    print(f"{killed} of {killed + len(survivors)} killed")


if __name__ == "__main__":
    main()
