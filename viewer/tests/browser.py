"""A headless Chromium driven over the DevTools protocol on its debugging pipe (fds 3 and 4),
with the standard library only: enough to open a page, run script in it, click and type."""
from __future__ import annotations

import fcntl
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time

CHROMIUM = os.environ.get("TOV_CHROMIUM", "/usr/bin/chromium")


class BrowserError(Exception):
    pass


class Browser:
    def __init__(self, width: int = 1280, height: int = 900, timeout: float = 60):
        self.timeout = timeout
        self.profile = tempfile.mkdtemp(prefix="tov-viewer-chromium-")
        commands_r, self.commands = os.pipe()
        self.answers, answers_w = os.pipe()
        # Lift the child's ends above 9 so that moving them onto 3 and 4 can not clobber either.
        high_r = fcntl.fcntl(commands_r, fcntl.F_DUPFD, 10)
        high_w = fcntl.fcntl(answers_w, fcntl.F_DUPFD, 10)
        os.close(commands_r)
        os.close(answers_w)
        args = [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--remote-debugging-pipe",
                f"--user-data-dir={self.profile}", f"--window-size={width},{height}",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--no-first-run", "--no-default-browser-check", "--mute-audio", "about:blank"]
        self.proc = subprocess.Popen(
            ["bash", "-c", 'exec 3<&"$1" 4>&"$2"; exec {a}<&- {b}>&-; shift 2; exec "$@"'
             .replace("{a}", str(high_r)).replace("{b}", str(high_w)),
             "-", str(high_r), str(high_w), *args],
            pass_fds=(high_r, high_w), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(high_r)
        os.close(high_w)
        self.buffer = b""
        self.next_id = 0
        self.session = None

    def close(self) -> None:
        try:
            os.killpg(self.proc.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass
        try:
            self.proc.wait(10)
        except subprocess.TimeoutExpired:
            os.killpg(self.proc.pid, signal.SIGKILL)
            self.proc.wait()
        for fd in (self.commands, self.answers):
            os.close(fd)
        shutil.rmtree(self.profile, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def _message(self, deadline: float) -> dict:
        while b"\0" not in self.buffer:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.answers], [], [], left)[0]:
                raise BrowserError("no answer from chromium in time")
            chunk = os.read(self.answers, 1 << 16)
            if not chunk:
                raise BrowserError("chromium closed its debugging pipe")
            self.buffer += chunk
        message, _, self.buffer = self.buffer.partition(b"\0")
        return json.loads(message)

    def send(self, method: str, params: dict | None = None, page: bool = True) -> dict:
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params or {}}
        if page and self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + self.timeout
        while True:
            answer = self._message(deadline)
            if answer.get("id") == self.next_id:
                if "error" in answer:
                    raise BrowserError(f"{method}: {answer['error']}")
                return answer["result"]

    def open(self, url: str) -> None:
        target = self.send("Target.createTarget", {"url": "about:blank"}, page=False)
        self.session = self.send("Target.attachToTarget",
                                 {"targetId": target["targetId"], "flatten": True},
                                 page=False)["sessionId"]
        self.send("Page.enable")
        self.send("Page.navigate", {"url": url})

    def eval(self, expression: str):
        result = self.send("Runtime.evaluate", {"expression": expression, "returnByValue": True,
                                                "awaitPromise": True})
        if "exceptionDetails" in result:
            raise BrowserError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait_for(self, expression: str, timeout: float = 30):
        deadline = time.monotonic() + timeout
        problem = None
        while True:
            try:  # the page may still be on its way in
                value = self.eval(expression)
                if value:
                    return value
            except BrowserError as e:
                problem = e
            if time.monotonic() > deadline:
                raise BrowserError(f"still false after {timeout} s: {expression} ({problem})")
            time.sleep(0.05)

    def click(self, selector: str) -> None:
        """A real mouse click in the middle of the first element that matches."""
        box = self.eval(f"(() => {{ const r = document.querySelector({json.dumps(selector)})"
                        ".getBoundingClientRect(); return [r.x + r.width / 2, r.y + r.height / 2]; })()")
        for kind in ("mousePressed", "mouseReleased"):
            self.send("Input.dispatchMouseEvent", {"type": kind, "x": box[0], "y": box[1],
                                                   "button": "left", "clickCount": 1})

    def type(self, text: str) -> None:
        self.send("Input.insertText", {"text": text})

    def press_enter(self) -> None:
        for kind in ("keyDown", "keyUp"):
            self.send("Input.dispatchKeyEvent", {"type": kind, "key": "Enter", "code": "Enter",
                                                 "windowsVirtualKeyCode": 13, "text": "\r"})
