#!/usr/bin/env python3
"""Puts small faults into src/, one at a time, and tells which of them no test notices.

usage: mutate.py [--count N] [--seed S] [FILE...]

Works on a copy in build/mutate, built without optimisation or sanitizers, so memory errors alone go unnoticed. A fault that
does not compile is not counted. One is noticed as soon as an affected test program fails, crashes or takes too long."""
import argparse
import contextlib
import itertools
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COPY, BUILD = ROOT / "build/mutate/source", ROOT / "build/mutate/build"
# Folder of src/ -> the test programs that it gets into, the most particular first.
AFFECTED = {
    "platform": ("platform", "settings", "maps", "launch", "tools"),
    "settings": ("settings", "app", "tools"),
    "lobby": ("lobby", "room", "app", "tools"),
    "maps": ("maps", "room", "app"),
    "launch": ("launch", "app", "e2e"),
    "room": ("room", "room_dialog", "app", "e2e"),
    "widgets": ("room_dialog", "app"),
    "app": ("room_dialog", "app", "e2e"),
}
# Lines that are only for the eye, the log or the compiler.
NOT_DRAWN = re.compile(r"Margins|Spacing|[sS]tyleSheet|themed\(|ObjectName|(Fixed|Minimum|Maximum)(Width|Height|Size)|"
                       r"Alignment|WordWrap|qWarning|qDebug|Q_LOGGING|^\s*#|static_assert|reserve\(")
OPERATORS = {"==": "!=", "!=": "==", "&&": "||", "||": "&&", "true": "false", "false": "true", "+": "-", "-": "+"}
BOUNDS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPENING, CLOSING = "([{", ")]}"


def masked(source):
    """The source with blanks for its comments and the insides of its literals."""
    literal = re.compile(r'//[^\n]*|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)u?\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)
    return literal.sub(lambda found: found[0][0] + " " * (len(found[0]) - 2) + found[0][-1]
                       if found[0][0] != "/" else " " * len(found[0]), source)


def arguments(code, start):
    """Of the bracket that opens at `start`: the ranges between its commas; none when a semicolon stands there."""
    depth, begin, ranges = 0, start + 1, []
    for at in range(start, len(code)):
        depth += (code[at] in OPENING) - (code[at] in CLOSING)
        if depth == 0 or (depth == 1 and code[at] == ","):
            ranges.append((begin, at))
            begin = at + 1
        if depth == 0:
            return ranges
        if depth == 1 and code[at] == ";":
            return []
    return []


def statement_end(code, start):
    depth = 0
    for at in range(start, len(code)):
        depth += (code[at] in OPENING) - (code[at] in CLOSING)
        if depth < 0:
            return None
        if depth == 0 and code[at] == ";":
            return at + 1
    return None


def changes(source):
    """All (kind, begin, end, replacement) of a file."""
    code = masked(source)
    for found in re.finditer(r"\b(?:if|while) \(", code):
        inner = arguments(code, found.end() - 1)
        if inner and not re.match(r"\s*(const )?auto\b", code[inner[0][0]:]):
            begin, end = inner[0][0], inner[-1][1]
            yield "condition", begin, end, f"!({source[begin:end]})"
    for found in re.finditer(r"(?<= )(==|!=|&&|\|\||\+|-)(?= )|\b(?:true|false)\b", code):
        yield "condition", found.start(), found.end(), OPERATORS[found[0]]
    for found in re.finditer(r"(?<= )[<>]=?(?= )", code):
        yield "bound", found.start(), found.end(), BOUNDS[found[0]]
    for found in re.finditer(r"(?<=[-+<>=] )(?<!\w = )\d+\b(?![.'])", code):
        yield "bound", found.start(), found.end(), str(int(found[0]) + 1)
    for found in re.finditer(r"(?<=[;{}:]\n)\s+(?=[*\w:.>\-\[\]]+(?:\(| [-+|]?= )|(?:\+\+|--)\w|break;|continue;)", code):
        end = statement_end(code, found.end())
        if end is not None:
            yield "statement", found.end(), end, ";"
    for found in re.finditer(r"(?<=\w)[({](?!\))", code):
        if code[code.rfind("\n", 0, found.start()) + 1] == " ":
            for (a, b), (c, d) in itertools.pairwise(arguments(code, found.start())):
                if source[a:b].strip() != source[c:d].strip():
                    yield "arguments", a, d, source[c:d] + "," + source[a:b]
    texts = [found for found in re.finditer(r'"([^"\n]*)"', code)]
    for found, other in zip(texts, texts[1:] + texts[:1]):
        here, there = (source[one.start():one.end()] for one in (found, other))
        if here != there:
            yield "text", found.start(), found.end(), there


def drawn(files, seed):
    """(file, line, kind, begin, end, replacement), the kinds in turn."""
    kinds = {}
    for name in sorted(files):
        source = (ROOT / name).read_text(encoding="utf-8")
        for kind, begin, end, replacement in changes(source):
            line = source[source.rfind("\n", 0, begin) + 1:source.find("\n", end)]
            if not NOT_DRAWN.search(line):
                kinds.setdefault(kind, []).append((name, source.count("\n", 0, begin) + 1, kind, begin, end, replacement))
    rng = random.Random(seed)
    for of_kind in kinds.values():
        rng.shuffle(of_kind)
    return [one for round_ in itertools.zip_longest(*kinds.values()) for one in round_ if one]


def run(command, limit=None, **options):
    """Whether it ends well in time, without a failure on the way. Whatever it leaves behind in its session is ended."""
    deadline = time.monotonic() + limit if limit else None
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                          **options) as child:
        os.set_blocking(child.stdout.fileno(), False)
        good, tail = True, b""
        try:
            while good and child.poll() is None:
                tail = tail[-8:] + (child.stdout.read() or b"")
                good = b"FAIL!" not in tail and (deadline is None or time.monotonic() < deadline)
                time.sleep(0.02)
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(child.pid, signal.SIGKILL)
    return good and child.returncode == 0


def build(*targets):
    return run(["cmake", "--build", BUILD, "--target", *targets])


def passes(program, limit=None):
    environment = {**os.environ, "QT_QPA_PLATFORM": "offscreen"}
    return run([BUILD / "bin" / f"{program}_test", "-silent"], limit, env=environment)


def prepare(programs):
    """Makes the copy, builds it, and gives the time that each program needs on sound code, in seconds."""
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                            capture_output=True, encoding="utf-8").stdout.splitlines()
    for path in [path for path in COPY.rglob("*") if path.is_file() and str(path.relative_to(COPY)) not in listed]:
        path.unlink()
    for name in filter(lambda name: (ROOT / name).is_file(), listed):
        target = COPY / name
        if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(ROOT / name, target)
    linker = "-fuse-ld=lld" if shutil.which("ld.lld") else ""
    subprocess.run(["cmake", "-S", COPY, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=",
                    "-DCMAKE_CXX_FLAGS=-w -D_GLIBCXX_ASSERTIONS", f"-DCMAKE_EXE_LINKER_FLAGS={linker}"],
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--target", *(f"{program}_test" for program in programs)], check=True)
    needed = {}
    for program in programs:
        began = time.monotonic()
        if not passes(program):
            sys.exit(f"mutate: {program}_test fails as it is")
        needed[program] = time.monotonic() - began
        print(f"{program}_test: {needed[program]:.0f} s", flush=True)
    return needed


def outcome(mutation, needed):
    """"noticed", "survived" or "does not compile"."""
    name, _, _, begin, end, replacement = mutation
    sound = (ROOT / name).read_text(encoding="utf-8")
    (COPY / name).write_text(sound[:begin] + replacement + sound[end:], encoding="utf-8")
    try:
        for program in AFFECTED[name.split("/")[1]]:
            if not build(f"{program}_test"):
                return "does not compile"
            if not passes(program, 3 * needed[program] + 20):
                return "noticed"
        return "survived"
    finally:
        (COPY / name).write_text(sound, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(prog="dev mutate", description="Tell which small faults in src/ no test notices.")
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources to put faults into; all of src/ without one")
    parser.add_argument("--count", type=int, default=300, help="how many faults (300)")
    parser.add_argument("--seed", type=int, default=1, help="another number draws other faults (1)")
    options = parser.parse_args()
    every = [str(path.relative_to(ROOT)) for path in ROOT.glob("src/**/*.cpp") if "win32" not in path.parts]
    files = [os.path.relpath(Path(name).resolve(), ROOT) for name in options.files] or every
    if unknown := set(files) - set(every):
        parser.error(f"not a source that is built here: {' '.join(sorted(unknown))}")
    programs = {program for name in files for program in AFFECTED[name.split("/")[1]]}
    needed = prepare(sorted(programs))
    results = []
    try:
        for mutation in drawn(files, options.seed):
            if len(results) == options.count:
                break
            if (result := outcome(mutation, needed)) != "does not compile":
                results.append((mutation, result))
                name, line, kind, begin, end, replacement = mutation
                before = (ROOT / name).read_text(encoding="utf-8")[begin:end]
                print(f"{len(results)} {result}: {name}:{line} {kind}", flush=True)
                if result == "survived":
                    print(f"    - {' '.join(before.split())}\n    + {' '.join(replacement.split())}", flush=True)
    except KeyboardInterrupt:
        print("ended early")
    folders = Counter(mutation[0].split("/")[1] for mutation, _ in results)
    noticed = Counter(mutation[0].split("/")[1] for mutation, result in results if result == "noticed")
    print(f"\n{'folder':10} tried noticed")
    for folder in sorted(folders):
        print(f"{folder:10} {folders[folder]:5} {noticed[folder]:7}")
    print(f"{'all':10} {folders.total():5} {noticed.total():7}  {100 * noticed.total() / max(1, folders.total()):.0f} %")


if __name__ == "__main__":
    main()
