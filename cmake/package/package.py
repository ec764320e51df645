#!/usr/bin/env python3
"""Makes what a player downloads: netplay-lobby-<version>-win64.zip and netplay-lobby-<version>-setup.exe.

usage: package.py BUILD_FOLDER OUTPUT_FOLDER

BUILD_FOLDER is one of the preset windows-release with the target netplay-lobby built. The environment variable
SOURCE_DATE_EPOCH (seconds since 1970) is the time of every file in the packages, so that equal sources give equal bytes.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
TOOLS = "x86_64-w64-mingw32-"
TEXTS = "translations/qtbase_zh_CN.qm"
PLUGINS = ["platforms/qwindows.dll", "styles/qwindowsvistastyle.dll"]
LICENSES = {
    "LGPL-3.txt": "/usr/share/common-licenses/LGPL-3",
    "GPL-3.txt": "/usr/share/common-licenses/GPL-3",
    "qtbase.txt": "/usr/share/doc/libqt5core5a/copyright",
    "qttranslations.txt": "/usr/share/doc/qttranslations5-l10n/copyright",
    "gcc.txt": "/usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright",
    "mingw-w64.txt": "/usr/share/doc/mingw-w64-x86-64-dev/copyright",
}


class PackageError(Exception):
    pass


def run(*command, **options):
    result = subprocess.run([str(word) for word in command], capture_output=True, encoding="utf-8", errors="replace",
                            **options)
    if result.returncode != 0:
        raise PackageError(f"{Path(command[0]).name} failed:\n{(result.stdout + result.stderr)[-2000:]}")
    return result.stdout


def packaging_time():
    text = os.environ.get("SOURCE_DATE_EPOCH", "")
    if not text.isdecimal() or not 1980 <= time.gmtime(min(int(text), 1 << 33)).tm_year < 2108:  # what a zip can hold
        raise PackageError("SOURCE_DATE_EPOCH must be a time from 1980 to 2107, in seconds since 1970")
    return int(text)


class Build:
    """A build folder's programs, and the version in its CMake cache."""

    def __init__(self, folder):
        self.bin = folder / "bin"
        self.texts = self.bin / TEXTS
        cache = folder / "CMakeCache.txt"
        if not cache.exists():
            raise PackageError(f"no build in {folder}")
        self.version = re.search(r"^CMAKE_PROJECT_VERSION:\w+=(.*)$", cache.read_text(encoding="utf-8"), re.MULTILINE)[1]

    def is_part_of_windows(self, library):
        """mingw-w64 has an import library for each of Windows' own."""
        name = f"lib{Path(library).stem.lower()}.a"
        return Path(run(TOOLS + "g++-posix", f"-print-file-name={name}").strip()).is_absolute()

    def imports(self, file):
        table = run(TOOLS + "objdump", "-p", file)
        return re.findall(r"^\s*DLL Name: (\S+)", table, re.MULTILINE)

    def needed_libraries(self, roots):
        """All libraries of ours that the files import, and those that these import in turn."""
        ours = {path.name.lower(): path for path in self.bin.glob("*.dll")}
        needed, seen, waiting = [], set(), list(roots)
        while waiting:
            file = waiting.pop()
            for library in set(map(str.lower, self.imports(file))) - seen:
                seen.add(library)
                if library in ours:
                    needed.append(ours[library])
                    waiting.append(ours[library])
                elif not self.is_part_of_windows(library):
                    raise PackageError(f"{file.name} needs {library}, which is neither in {self.bin} nor Windows' own")
        return needed


def copy_text(source, target, version):
    """With line ends and a mark that every Windows editor understands."""
    if not Path(source).exists():
        raise PackageError(f"{source} is missing")
    text = Path(source).read_text(encoding="utf-8").replace("@VERSION@", version)
    target.write_bytes(text.replace("\n", "\r\n").encode("utf-8-sig"))


def stage(build, folder):
    """Lays out in `folder` what both packages hold; gives the relative paths in a fixed order."""
    program = build.bin / "netplay-lobby.exe"
    plugins = [build.bin / plugin for plugin in PLUGINS]
    for file in [program, build.texts, *plugins]:
        if not file.exists():
            raise PackageError(f"{file} is missing")
    (folder / "licenses").mkdir()
    for plugin in PLUGINS:
        (folder / "bin" / "plugins" / plugin).parent.mkdir(parents=True)
        shutil.copyfile(build.bin / plugin, folder / "bin" / "plugins" / plugin)
    (folder / "bin" / TEXTS).parent.mkdir()
    shutil.copyfile(build.texts, folder / "bin" / TEXTS)
    for library in build.needed_libraries([program, *plugins]):
        shutil.copyfile(library, folder / "bin" / library.name)
    run(TOOLS + "strip", "-o", folder / "bin" / program.name, program)
    shutil.copyfile(HERE / "qt.conf", folder / "bin" / "qt.conf")
    copy_text(HERE / "readme.txt", folder / "使用说明.txt", build.version)
    script = (HERE / "start_with_log.cmd").read_bytes()
    (folder / "带日志启动.cmd").write_bytes(script.replace(b"\n", b"\r\n"))  # the command interpreter knows no mark
    copy_text(HERE / "licenses.txt", folder / "licenses" / "README.txt", build.version)
    for name, source in LICENSES.items():
        copy_text(source, folder / "licenses" / name, build.version)
    return sorted(path.relative_to(folder) for path in folder.rglob("*") if path.is_file())


def write_zip(folder, files, epoch, target):
    with zipfile.ZipFile(target, "w") as archive:
        for file in files:
            entry = zipfile.ZipInfo(file.as_posix(), time.gmtime(epoch)[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0  # Windows: without rights of this machine
            archive.writestr(entry, (folder / file).read_bytes(), compresslevel=9)


def backslashes(path):
    return str(path).replace("/", "\\")


def installer_steps(folder, files):
    """The two macros of the installer that name each file: the uninstaller removes these and no others."""
    folders = sorted({parent for file in files for parent in file.parents} - {Path(".")}, reverse=True)
    yield "!macro InstallFiles"
    for file in files:
        yield f'  SetOutPath "$INSTDIR\\{backslashes(file.parent)}"' if file.parent.parts else '  SetOutPath "$INSTDIR"'
        yield f'  File "{folder / file}"'
    yield "!macroend\n!macro RemoveFiles"
    yield from (f'  Delete "$INSTDIR\\{backslashes(file)}"' for file in files)
    yield from (f'  RMDir "$INSTDIR\\{backslashes(parent)}"' for parent in folders)
    yield "!macroend\n"


def write_installer(build, folder, files, epoch, target):
    for file in files:
        os.utime(folder / file, (epoch, epoch))
    with tempfile.NamedTemporaryFile("w", suffix=".nsh", encoding="utf-8") as steps:
        steps.write("\n".join(installer_steps(folder, files)))
        steps.flush()
        icon = HERE.parents[1] / "src/app/windows/netplay-lobby.ico"
        run("makensis", "-V2", "-WX", "-INPUTCHARSET", "UTF8", f"-DVERSION={build.version}", f"-DSTEPS={steps.name}",
            f"-DICON={icon}", f"-DOUTPUT={target}", HERE / "installer.nsi",
            env={**os.environ, "SOURCE_DATE_EPOCH": str(epoch), "TZ": "UTC"})


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    build_folder, output = (Path(word).resolve() for word in sys.argv[1:])
    try:
        epoch = packaging_time()
        output.mkdir(parents=True, exist_ok=True)
        build = Build(build_folder)
        archive = output / f"netplay-lobby-{build.version}-win64.zip"
        setup = output / f"netplay-lobby-{build.version}-setup.exe"
        with tempfile.TemporaryDirectory(prefix="netplay-package-") as work:
            files = stage(build, Path(work))
            write_zip(Path(work), files, epoch, archive)
            write_installer(build, Path(work), files, epoch, setup)
    except (PackageError, OSError) as error:
        print(f"package: {error}", file=sys.stderr)
        return 1
    for file in (archive, setup):
        print(f"{file} ({file.stat().st_size / 1e6:.1f} MB)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
