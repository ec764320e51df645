#!/usr/bin/env python3
"""Plays the exchange in docs/server.md against devlobby: it must answer as the page says. Every rule of check-server must be
named there. usage: check_server_page.py SOURCE_ROOT DEVLOBBY"""
import json
import re
import subprocess
import sys
import urllib.error
import urllib.request
from pathlib import Path

EXCHANGE = re.compile(r"^(GET|POST) (\S+)\n((?:[^→].*\n)*)→ (\d+)\n((?:[^`\n].*\n)+)", re.MULTILINE)
OTHER_EACH_TIME = {"auth_token", "created_at", "ts"}


def equals(shown, real):
    """"…" stands for anything, and as a key for more keys."""
    if shown == "…":
        return True
    if isinstance(shown, dict) and isinstance(real, dict):
        known = {key: value for key, value in shown.items() if key != "…"}
        complete = "…" in shown or known.keys() == real.keys()
        return complete and all(key in real and (key in OTHER_EACH_TIME and isinstance(real[key], str)
                                                 or equals(value, real[key])) for key, value in known.items())
    if isinstance(shown, list) and isinstance(real, list):
        return len(shown) == len(real) and all(map(equals, shown, real))
    return shown == real


def ask(method, url, body):
    data = json.dumps(body).encode() if body else None
    try:
        reply = urllib.request.urlopen(urllib.request.Request(url, data, method=method), timeout=60)
    except urllib.error.HTTPError as refusal:
        reply = refusal
    return reply.status, json.load(reply)


def replay(page, url):
    problems, tokens = [], {}
    for method, path, sent, status, shown in EXCHANGE.findall(page):
        body = json.loads(sent) if sent else None
        if body and "auth_token" in body:
            body["auth_token"] = tokens[body["auth_token"]]
        expected = json.loads(shown)
        real_status, real = ask(method, url + path, body)
        if "auth_token" in expected:
            tokens[expected["auth_token"]] = real.get("auth_token")
        if real_status != int(status) or not equals(expected, real):
            problems.append(f"docs/server.md: {method} {path}: {real_status} {json.dumps(real, ensure_ascii=False)}")
    return problems if tokens else ["docs/server.md: no exchange found"]


def main():
    root = Path(sys.argv[1])
    page = (root / "docs/server.md").read_text(encoding="utf-8")
    table = (root / "tools/inspect/checked_lobby.cpp").read_text(encoding="utf-8")
    rules = re.findall(r'^ {4}\{"([a-z-]+)",', table, re.MULTILINE)
    problems = [f"docs/server.md does not tell of the rule {rule}" for rule in rules if f"`{rule}`" not in page]
    with subprocess.Popen([sys.argv[2], "--port", "0", "--exit-with-stdin", "--launch-delay-ms", "3000"], encoding="utf-8",
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE) as lobby:
        problems += replay(page, lobby.stdout.readline().split()[-1])
        lobby.stdin.close()
    print(*problems, f"server page: {len(rules)} rules, {len(problems)} problems", sep="\n")
    return bool(problems) or not rules


if __name__ == "__main__":
    sys.exit(main())
