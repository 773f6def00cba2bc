#!/usr/bin/env python3
"""Changes one line of the library at a time and sees whether a test notices.

    Tools/mutate.py [--seed N] [--count N] [--output FILE]

Works in a copy of the tree. A mutant that does not compile is none, nor one that leaves the built bytes as they were
(code for another machine). One is killed when a test fails or runs out of time; those that survive make a table, in
FILE if it is given. Lines that only write the debug log are left out: of them the tests compare a sample, on purpose.
"""
import argparse
import hashlib
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
QUIET = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
BUILD = "build/debug"
LIMIT = 120  # seconds for one group of tests; all of them take about 20 when nothing is wrong

# Texts, characters and comments stay as they are; so do lines of the log, of the preprocessor and of static checks.
MASKED = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'|//.*')
LEFT_OUT = re.compile(r"\b(TRACE|k?Trace\w*|Log\w+|LOG_\w+|Report|gDebugging)\b|^\s*#|static_assert|^\s*\*")
BOOLEAN_HEAD = re.compile(r"(?:static |inline |constexpr |\[\[nodiscard\]\] )*(?:bool|BooleanWord) ")

FLIPPED = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">", "&&": "||", "||": "&&"}


def one_more(match):
    return hex(int(match[0], 16) + 1) if match[0][:2] in ("0x", "0X") else str(int(match[0]) + 1)


# what is changed, and what into; places are looked for with texts and comments blanked out
OPERATORS = (
    (re.compile(r"(?<= )(==|!=|<=?|>=?|&&|\|\|)(?= )"), lambda match: FLIPPED[match[0]]),
    # a number, but not the length in a buffer's declaration: a longer one does the same
    (re.compile(r"(?<!\.)\b(0x[0-9A-Fa-f]+|\d+)\b(?!\.\d|\](;| =))"), one_more),
    # a call and nothing else, behind an "if" too
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
            if path.suffix not in (".cpp", ".h", ".inc"):
                continue
            answers_boolean = False
            for number, line in enumerate(path.read_text(encoding="utf-8").split("\n")):
                if re.match(r"\w|\[\[", line):  # the head of a function stands at the line's start
                    answers_boolean = bool(BOOLEAN_HEAD.match(line))
                for changed in mutants_of_line(line, answers_boolean):
                    yield path.relative_to(ROOT), number, line, changed


def passes(copy, *command):
    """Whether the command ends well within the limit; what it started ends with it."""
    with subprocess.Popen(command, cwd=copy, start_new_session=True, **QUIET) as process:
        try:
            return process.wait(LIMIT) == 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            return False


def survives(copy, path):
    """The tests that bear the file's name first, then the quick ones, then all others."""
    subject = re.sub(r"^(rb|My|RAW|Base|Main)", "", path.stem)
    ctest = "ctest", "--test-dir", BUILD, "-j2", "--stop-on-failure", "-E"
    return (passes(copy, *ctest, "NOT_BUILT", "-R", subject)
            and passes(copy, *ctest, "NOT_BUILT|programs", "-R", "acceptance")
            and passes(copy, *ctest, f"NOT_BUILT|acceptance|{subject}"))


def build(copy):
    """The bytes of what was built; None when it does not compile."""
    command = ["cmake", "--build", BUILD, "-j2", "--target", "unit_tests", "VYNNetwork", "vynhost"]
    if subprocess.run(command, cwd=copy, **QUIET).returncode != 0:
        return None
    files = copy / BUILD / "unit_tests", *(copy / BUILD).glob("*.so.*")
    return [hashlib.sha256(file.read_bytes()).digest() for file in files]


def prepare(copy):
    """A built copy in which every test passes; what would only be a warning is no failure of a build."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True, text=True).stdout
    for name in listed.split("\0")[:-1]:
        (copy / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(ROOT / name, copy / name)
    subprocess.run(["cmake", "--preset", "debug", "-DCMAKE_CXX_FLAGS=-w -O1"], cwd=copy, check=True, **QUIET)
    built = build(copy)
    if built is None or not survives(copy, pathlib.Path("none")):
        raise SystemExit("mutate: the tree does not build, or a test fails, before anything is changed")
    return built


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--count", type=int, default=60)
    options.add_argument("--output", type=pathlib.Path, default=pathlib.Path("/dev/stdout"))
    given = options.parse_args()

    chosen = list(mutants())
    print(f"{len(chosen)} mutants can be made; {given.count} of them by seed {given.seed}", flush=True)
    random.Random(given.seed).shuffle(chosen)
    killed, survivors = 0, []
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder)
        unchanged = prepare(copy)
        for path, number, before, after in chosen:
            if killed + len(survivors) == given.count:
                break
            original = (copy / path).read_text(encoding="utf-8")
            lines = original.split("\n")
            lines[number] = after
            (copy / path).write_text("\n".join(lines), encoding="utf-8")
            if build(copy) not in (None, unchanged):
                lives = survives(copy, path)
                killed += not lives
                survivors += [(path, number + 1, before.strip(), after.strip())] * lives
                print("survived" if lives else "killed  ", f"{path}:{number + 1}: {after.strip()}", flush=True)
            (copy / path).write_text(original, encoding="utf-8")
    with given.output.open("w", encoding="utf-8") as output:
        print("| file | line | before | after |\n|---|---|---|---|", file=output)
        for row in survivors:
            print("|", " | ".join(str(cell).replace("|", "\\|") for cell in row), "|", file=output)
    print(f"{killed} of {killed + len(survivors)} killed")


if __name__ == "__main__":
    main()
