#!/usr/bin/env python3
"""Tries the packages as a player would: the zip unpacked, the installer run, each beside a game, and a match played.

usage: package_test.py BUILD_FOLDER     (needs a display and a Wine prefix)
"""
import filecmp
import itertools
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request
import zipfile
from pathlib import Path

PACKAGER = Path(__file__).resolve().parents[2] / "cmake/package/package.py"
BUILD = Path(sys.argv.pop(1)).resolve()
ENTRY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\netplay-lobby"
PLAYER, LIMIT_S = "张三", 60


def wait_for(condition, what, pause_s=0.1):
    end = time.monotonic() + LIMIT_S
    while not (result := condition()):
        assert time.monotonic() < end, f"not within {LIMIT_S} s: {what}"
        time.sleep(pause_s)
    return result


def click(window, x, y, times=1):
    words = f"mousemove --window {window} {x} {y} click --repeat {times} --delay 50 1"
    subprocess.run(["xdotool", *words.split()], check=True)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="netplay-package-test-")))
        cls.packages, cls.again = folder / "UTC", folder / "Asia/Shanghai"
        both = [subprocess.Popen([sys.executable, PACKAGER, BUILD, folder / zone], stdout=subprocess.DEVNULL,
                                 env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000", "TZ": zone})
                for zone in ("UTC", "Asia/Shanghai")]
        assert not any([packaging.wait() for packaging in both]), "packaging failed"

    def setUp(self):
        self.work = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="玩家 的 游戏 ")))
        self.client = self.work / "联机 大厅"
        words = f"--port 0 --exit-with-stdin --account host:secret --account {PLAYER}:secret"
        lobby = self.start(BUILD / "bin/devlobby.exe", *words.split())
        self.lobby = lobby.stdout.readline().split()[-1]

    def start(self, program, *arguments, **environment):
        base = {name: value for name, value in os.environ.items() if name != "WINEQT_QPA_PLATFORM"}
        base.update(LC_ALL="C.UTF-8", WINEDLLOVERRIDES="winemenubuilder.exe=d", STANDIN_GAME_RUN_MS="1000", **environment)
        process = subprocess.Popen(["wine", str(program), *map(str, arguments)], env=base, encoding="utf-8",
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        # Whatever is still there at a test's end is killed.
        for step in (process.stdin.close, process.stdout.close, process.wait, process.kill):
            self.addCleanup(step)
        return process

    def run_to_end(self, *words):
        return self.start(*words).wait(LIMIT_S)

    def seat(self):
        """The player's in the one room there is; empty without."""
        direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with direct.open(f"{self.lobby}/api/lobby/rooms", timeout=LIMIT_S) as reply:
            slots = [slot for room in json.load(reply)["rooms"] for slot in room["player_slots"]]
        return next((slot for slot in slots if slot["name"] == PLAYER), {})

    def play_match(self, *starter):
        """From the start of the program to its end; the host is a player without a window."""
        for root in (self.work / "game", self.work / "主机"):
            (root / "core").mkdir(parents=True)
            shutil.copy(BUILD / "bin/game.exe", root / "core")
            self.run_to_end(BUILD / "bin/mapgen.exe", root / "map", *"--count 2 --seed 7 --first 10078".split())
        (self.client / "config").mkdir()
        settings = f"[Server]\nLobbyHttp={self.lobby}\n[Client]\nDefaultPassword=secret\n"
        (self.client / "config/Server.ini").write_text(settings)
        words = f"play --lobby {self.lobby} --user host --password secret --create 房间 --map 10078 --start-with 2"
        host = self.start(BUILD / "bin/netplay-inspect.exe", *words.split(), "--data-root", self.work / "主机")
        report = self.work / "report.json"
        program = self.start(*starter, "--user", PLAYER, "--auto-login",
                             STANDIN_GAME_REPORT=str(report))
        window = wait_for(lambda: subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "联机大厅"],
                                                 capture_output=True, encoding="utf-8").stdout.split(), "the window")[0]
        # The room's row, then "准备", wherever the fonts put them. Elsewhere these points do nothing.
        rows, buttons = (itertools.cycle(points) for points in (range(160, 300, 20), range(540, 420, -20)))
        wait_for(lambda: self.seat() or click(window, 400, next(rows), times=2), "the player in the room", pause_s=1)
        wait_for(lambda: self.seat().get("ready") or report.exists() or click(window, 790, next(buttons)), "ready",
                 pause_s=2)
        self.assertEqual(host.wait(LIMIT_S), 0)
        wait_for(report.exists, "the game's report")
        game = json.loads(report.read_text(encoding="utf-8"))
        expected = ["10078", PLAYER, True, windows_path(self.work / "game")]
        self.assertEqual([game.get(key) for key in ("mapName", "playerName", "guards", "workingDirectory")], expected)
        self.run_to_end("taskkill", "/im", "netplay-lobby.exe")  # asks the window to close
        self.assertEqual(program.wait(LIMIT_S), 0)

    def test_zip(self):
        with zipfile.ZipFile(next(self.packages.glob("*.zip"))) as archive:
            archive.extractall(self.client)
        self.play_match("cmd", "/c", windows_path(self.client / "带日志启动.cmd"))
        self.assertIn("game started", (self.client / "pm_client_debug.log").read_text(encoding="utf-8"))

    def test_setup(self):
        # The installer takes all that follows /D= as it stands: it must come without quotes.
        words = ["/S", *f"/D={windows_path(self.client)}".split(" ")]
        self.assertEqual(self.run_to_end(next(self.packages.glob("*-setup.exe")), *words), 0)
        self.assertEqual(self.run_to_end("reg", "query", ENTRY), 0)
        self.play_match(self.client / "bin/netplay-lobby.exe")
        self.run_to_end(self.client / "uninstall.exe", "/S")
        wait_for(lambda: self.run_to_end("reg", "query", ENTRY), "the entry to be gone")
        self.assertEqual({file.name for file in self.client.rglob("*.*")}, {"Server.ini", "map_catalog_cache.json"})

    def test_same_bytes_again(self):
        names = [file.name for file in self.packages.iterdir()]
        self.assertEqual(filecmp.cmpfiles(self.packages, self.again, names, shallow=False), (names, [], []))


unittest.main(verbosity=2)
