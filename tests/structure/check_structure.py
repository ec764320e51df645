#!/usr/bin/env python3
"""Checks the include table below, and that every test source is registered. usage: check_structure.py SOURCE_ROOT"""
import re
import sys
import tempfile
from pathlib import Path

# Folder of src/ -> the folders of ours that it may include, and the Qt modules (none: no Qt at all).
TABLE = {
    "platform": (set(), None),
    "settings": ({"platform"}, {"Core", "Network"}),
    "lobby": (set(), {"Core", "Network"}),
    "maps": ({"platform"}, {"Core"}),
    "launch": ({"platform", "settings"}, {"Core"}),
    "room": ({"lobby", "maps", "launch"}, {"Core"}),
    "widgets": ({"lobby"}, {"Core", "Gui", "Widgets"}),
    "app": ({"platform", "settings", "lobby", "maps", "launch", "room", "widgets"}, {"Core", "Gui", "Widgets", "Network", "Concurrent"}),
}
# Of some folders others may include one header alone: (who, of whom) -> which.
LONE_HEADERS = {("room", "launch"): "launch/game_launch_request.h", ("widgets", "lobby"): "lobby/shown_text.h"}
NETWORK_CLASSES = re.compile(r"Q(Network\w*|Tcp\w*|Udp\w*|Host\w*|Ssl\w*|AbstractSocket|LocalSocket|LocalServer)$")
# Of QtCore what is in use: a new one gets its place here.
CORE_CLASSES = re.compile(
    r"Q(t\w*|Object|IODevice|String\w*|Latin1\w*|Char|Byte\w*|Vector|Map|Hash|Set|List|Json\w*|Timer|Url|File\w*|Dir|Settings|"
    r"Debug|EventLoop|Variant|ElapsedTimer|CoreApplication|Pointer|Text(Stream|Codec)|Process|SaveFile|Cryptographic\w*|"
    r"ScopedValueRollback|ThreadPool|RegularExpression|TemporaryDir)$")
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)')


def qt_module(header):
    if not re.match(r"Q[A-Z]|Qt", header) or "/" in header:
        return header.split("/")[0].removeprefix("Qt") if header.startswith("Qt") else None
    return "Network" if NETWORK_CLASSES.match(header) else "Core" if CORE_CLASSES.match(header) else "Widgets"


def includes(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if match := INCLUDE.match(line):
            yield number, match.group(1), match.group(2)


def check_source(root, path, problems):
    relative = path.relative_to(root)
    folder = relative.parts[1]
    ours, qt = TABLE.get(folder, (set(), None))
    if folder not in TABLE:
        problems.append(f"{relative}: src/{folder} has no row in the include table")
    for number, quoted, angled in includes(path):
        where = f"{relative}:{number}"
        target = (quoted or "").split("/")[0]
        module = qt_module(angled or "")
        if quoted and "/" not in quoted:
            problems.append(f"{where}: include \"{quoted}\" with its folder")
        elif quoted and target != folder and target not in ours:
            problems.append(f"{where}: {folder} may not include {target}")
        elif quoted and quoted != LONE_HEADERS.get((folder, target), quoted):
            problems.append(f"{where}: {folder} may include of {target} {LONE_HEADERS[folder, target]} alone")
        elif module and module not in (qt or ()):
            problems.append(f"{where}: {folder} may not use <{angled}> ({module})")
        elif (angled or "").lower() == "windows.h" and "win32" not in relative.parts:
            problems.append(f"{where}: windows.h stays inside platform/win32")
    if folder != "platform" and re.search(r"\b_WIN32\b|\bQ_OS_|\b__linux__\b", path.read_text(encoding="utf-8")):
        problems.append(f"{relative}: operating-system conditionals stay inside src/platform")


def check(root):
    problems = []
    for path in sorted(p for p in (root / "src").rglob("*") if p.suffix in {".h", ".cpp"}):
        check_source(root, path, problems)
    for path in sorted(p for p in (root / "tools").rglob("*") if p.suffix in {".h", ".cpp"}):
        problems += [f"{path.relative_to(root)}:{number}: tools may not include app"
                     for number, quoted, _ in includes(path) if (quoted or "").startswith("app/")]
    for path in sorted((root / "tests").rglob("*.cpp")):
        lists = [p / "CMakeLists.txt" for p in path.parents if root in p.parents and (p / "CMakeLists.txt").exists()]
        if not any(re.search(rf"(^|[\s/\"]){re.escape(path.name)}\b", p.read_text(encoding="utf-8")) for p in lists):
            problems.append(f"{path.relative_to(root)}: not registered in a CMakeLists.txt of tests/")
    return problems


def self_test():
    """Each broken file must bring exactly one problem, or this check checks nothing."""
    broken = {
        "src/platform/a.cpp": "#include <QString>\n",
        "src/platform/posix/b.cpp": '#include <Windows.h>\n',
        "src/lobby/c.cpp": '#include "settings/paths.h"\n',
        "src/launch/d.cpp": "#include <QNetworkReply>\n",
        "src/room/e.cpp": "#include <QLabel>\n",
        "src/room/f.cpp": '#include "launch/game_launcher.h"\n',
        "src/widgets/l.cpp": '#include "lobby/lobby_client.h"\n',
        "src/settings/g.cpp": "#ifdef _WIN32\n#endif\n",
        "src/maps/h.cpp": '#include "app/main_window.h"\n',
        "src/maps/j.cpp": '#include "map_info.h"\n',
        "src/new/k.cpp": "",
        "tools/x/i.cpp": '#include "app/main_window.h"\n',
        "tests/x/forgotten.cpp": "",
    }
    fine = {
        "src/widgets/fine.cpp": '#include <QDialog>\n#include "lobby/shown_text.h"\n',
        "src/settings/ok.cpp": '#include <QSettings>\n#include "platform/files.h"\n',
        "tests/x/CMakeLists.txt": "add_executable(x known.cpp)\n",
        "tests/x/known.cpp": "",
    }
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        for name, text in {**broken, **fine}.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text, encoding="utf-8")
        problems = check(root)
    found = sorted(problem.split(":")[0] for problem in problems)
    return [] if found == sorted(broken) else [f"self-test: each broken file must bring one problem: {problems}"]


def main():
    root = Path(sys.argv[1]).resolve()
    problems = self_test() + check(root)
    print(*problems, f"structure: {len(problems)} problems", sep="\n")
    return bool(problems)


if __name__ == "__main__":
    sys.exit(main())
