#!/usr/bin/env python3
"""Plays one match: a lobby server, two players without a window, two games. Prints what happened.

usage: demo.py BIN_FOLDER

Exits 0 only when both games were handed the right launch block and configuration.
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
CHOSEN = [0, 1]  # the host's choice: of the first map option the second value
WRONG_MAP = "地图版本不一致，请更新为房主地图版本。"
USER_LINES = 'UserLine = "自己的设置"\nVolume = 7\n'
TIME_LIMIT_S = 60


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
        lobby = self.start([self.bin / "devlobby", "--port", "0", "--launch-delay-ms", "500", "--exit-with-stdin",
                            "--account", "alice:secret", "--account", "张三:secret", "--account", "mallory:secret"])
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

    def tell(self, user, process, events):
        """Prints a player's events as they come and keeps them."""
        for line in process.stdout:
            event = json.loads(line)
            name = event["event"]
            room = event.get("room", {})
            details = {key: value for key, value in event.items() if key not in {"event", "user", "room"} and value != ""}
            if room:
                details.update(room=room["id"], name=room["name"], map=room["mapId"], title=room["mapName"],
                               seat=room["lobbySlot"], fingerprint=room["mapFingerprint"][:20] + "...")
            self.say(user, name + "".join(f"  {key}={value}" for key, value in details.items()))
            events.append(event)

    def start_telling(self, user, process, events):
        reader = threading.Thread(target=self.tell, args=(user, process, events[user]), daemon=True)
        reader.start()
        return reader

    def expected_options(self, root):
        """The pairs that the game must get: the host's choice, and each other option's initial value."""
        map_file = root / "map" / MAP / f"{MAP}.map"
        answer = subprocess.run([self.bin / "netplay-inspect", "map-file", map_file], check=True, capture_output=True)
        info = json.loads(answer.stdout)["map"]
        pairs = []
        for index, option in enumerate(info["optionIds"]):
            values, label = info["optionValues"][option], info["optionLabels"].get(option)
            if index == CHOSEN[0]:
                pairs.append(CHOSEN)
            elif label in values:
                pairs.append([index, values.index(label)])
        return pairs

    def play(self):
        lobby = self.start_lobby()
        hosts = self.make_data_root("主机")
        guests = self.make_data_root("客人")
        others = self.make_data_root("旧地图")
        with open(others / "map" / MAP / f"{MAP}.o", "ab") as script:
            script.write(b"changed")
        players = {
            "alice": (hosts, self.start_player("alice", lobby, hosts, "--create", "演示房间", "--map", MAP,
                                               "--start-with", "2", "--options", "%d:%d" % tuple(CHOSEN),
                                               "--game-port", "40007")),
        }
        events = {"alice": [], "mallory": [], "张三": []}
        readers = [self.start_telling("alice", players["alice"][1], events)]
        # A player with another version of the map is turned away before anything else happens.
        refused = self.start_player("mallory", lobby, others, "--join-first")
        readers.append(self.start_telling("mallory", refused, events))
        refused.wait(TIME_LIMIT_S)
        players["张三"] = (guests, self.start_player("张三", lobby, guests, "--join-first"))
        readers.append(self.start_telling("张三", players["张三"][1], events))
        for _, process in players.values():
            process.wait(TIME_LIMIT_S)
        for reader in readers:
            reader.join()
        problems = []
        if events["mallory"][-1].get("error") != WRONG_MAP:
            problems.append("mallory: a player with another map was not turned away")
        for user, (root, process) in players.items():
            if process.returncode != 0:
                problems.append(f"{user}: the player ended with {process.returncode}")
            problems += [f"{user}: {problem}" for problem in self.check_game(user, root, events[user])]
        return problems

    def check_game(self, user, root, events):
        """What the game received against what the lobby told its player."""
        launched = next((event for event in events if event["event"] == "launched"), None)
        report_file = self.work / f"{root.name}.json"
        if launched is None or not report_file.exists():
            return ["no game was started"]
        game = json.loads(report_file.read_text(encoding="utf-8"))
        self.say("game", f"{user}'s game received: " + "  ".join(
            f"{key}={game.get(key)}" for key in ("mapName", "host", "port", "slot", "sessionId", "userId", "playerName",
                                                 "controlId", "mapOptions", "mapOptionDisplay", "guards")))
        expected = {
            "mapName": MAP, "host": "127.0.0.1", "port": 40007, "playerName": user, "slot": launched["slot"],
            "controlId": launched["slot"], "sessionId": launched["session"], "userId": launched["userId"],
            "mapOptions": self.expected_options(root), "mapOptionDisplay": 0, "guards": True, "pid": launched["pid"],
        }
        problems = [f"{key} is {game.get(key)!r}, not {value!r}" for key, value in expected.items() if game.get(key) != value]
        if Path(game.get("workingDirectory", "")).resolve() != root.resolve():
            problems.append(f"worked in {game.get('workingDirectory')!r}")
        config = (root / "config.lua").read_text(encoding="utf-8")
        problems += [f"config.lua lost {line!r}" for line in USER_LINES.splitlines() if line not in config]
        if not any(event["event"] == "launch-reported" for event in events):
            problems.append("the lobby was not told of the launch")
        return problems

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
            problems = demo.play()
        except (RuntimeError, subprocess.TimeoutExpired) as error:
            problems = [str(error)]
        except KeyboardInterrupt:
            print("demo: interrupted", file=sys.stderr)
            return 130
        finally:
            demo.clean_up()
    for problem in problems:
        print(f"demo: {problem}")
    print("demo: both games received what they should" if not problems else "demo: failed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
