#!/usr/bin/env python3
"""Opens the client's window, signed in, on a lobby server of its own, with a second player without a window.

usage: demo.py BIN_FOLDER

The second player joins the room that you create, readies up, and plays with you until you close the window.
"""
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unicodedata
from pathlib import Path

MAP = "10078"
USER_LINES = 'UserLine = "自己的设置"\nVolume = 7\n'


class Demo:
    def __init__(self, bin_folder, work):
        self.bin = bin_folder
        self.work = work
        self.processes = []
        self.lock = threading.Lock()

    def say(self, who, text):
        width = sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in who)
        with self.lock:
            print(" " * (8 - width) + who + "  " + text, flush=True)

    def start(self, arguments, environment=None):
        process = subprocess.Popen(
            [str(word) for word in arguments], stdout=subprocess.PIPE, stdin=subprocess.PIPE, encoding="utf-8",
            env={**os.environ, **(environment or {})}, start_new_session=True)
        self.processes.append(process)
        return process

    def start_lobby(self):
        lobby = self.start([self.bin / "devlobby", "--port", "0", "--launch-delay-ms", "500", "--match-seconds", "20",
                            "--exit-with-stdin", "--account", "alice:secret", "--account", "张三:secret"])
        line = lobby.stdout.readline()
        if "listening on" not in line:
            raise RuntimeError(f"the lobby server did not start: {line!r}")
        self.say("lobby", line.strip())
        return line.split()[-1]

    def make_data_root(self, name):
        root = self.work / name
        (root / "core").mkdir(parents=True)
        shutil.copy2(self.bin / "game.exe", root / "core" / "game.exe")
        subprocess.run([self.bin / "mapgen", root / "map", "--count", "12", "--seed", "7", "--first", MAP], check=True,
                       stdout=subprocess.DEVNULL)
        (root / "config.lua").write_text(USER_LINES, encoding="utf-8")
        return root

    def start_player(self, user, lobby, root, *more):
        environment = {"STANDIN_GAME_REPORT": str(self.work / f"{root.name}.json"), "STANDIN_GAME_RUN_MS": "1500"}
        return self.start([self.bin / "netplay-inspect", "play", "--lobby", lobby, "--user", user, "--password", "secret",
                           "--data-root", root, *more], environment)

    def tell(self, user, process):
        """Prints a player's events as they come."""
        for line in process.stdout:
            event = json.loads(line)
            name = event["event"]
            room = event.get("room", {})
            details = {key: value for key, value in event.items() if key not in {"event", "user", "room"} and value != ""}
            if room:
                details.update(room=room["id"], name=room["name"], map=room["mapId"], title=room["mapName"],
                               seat=room["lobbySlot"], fingerprint=room["mapFingerprint"][:20] + "...")
            self.say(user, name + "".join(f"  {key}={value}" for key, value in details.items()))

    def start_telling(self, user, process):
        reader = threading.Thread(target=self.tell, args=(user, process), daemon=True)
        reader.start()
        return reader

    def play(self):
        lobby = self.start_lobby()
        client = self.work / "客户端"
        (client / "config").mkdir(parents=True)
        (client / "Plugin").mkdir()
        (client / "config" / "Server.ini").write_text(
            f"[Server]\nLobbyHttp={lobby}\n[Client]\nDefaultPassword=secret\n", encoding="utf-8")
        shutil.copy2(self.bin / "netplay-lobby", client / "netplay-lobby")
        self.make_data_root("gametest")
        guests = self.make_data_root("客人")
        games = {"STANDIN_GAME_RUN_MS": "15000", "STANDIN_GAME_WINDOW": "1"}
        window = self.start([client / "netplay-lobby", "--user", "alice", "--auto-login"], games)
        self.say("alice", "this is you: press ＋ 创建游戏, then 开始游戏 as soon as 张三 is ready; close the window to end")
        while window.poll() is None:
            guest = self.start_player("张三", lobby, guests, "--join-first", "--matches", "1000")
            reader = self.start_telling("张三", guest)
            while window.poll() is None and guest.poll() is None:
                try:
                    window.wait(0.5)
                except subprocess.TimeoutExpired:
                    pass
            guest.kill()
            reader.join()
        return window.returncode

    def clean_up(self):
        """Each child leads a process group of its own, with the games that it started."""
        for process in self.processes:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(130))
    with tempfile.TemporaryDirectory(prefix="netplay-demo-") as work:
        demo = Demo(Path(sys.argv[1]).resolve(), Path(work))
        try:
            return demo.play()
        except RuntimeError as error:
            print(f"demo: {error}", file=sys.stderr)
            return 1
        except KeyboardInterrupt:
            print("demo: interrupted", file=sys.stderr)
            return 130
        finally:
            demo.clean_up()


if __name__ == "__main__":
    sys.exit(main())
