"""Drives a headless Chromium through chromedriver, with nothing but Python's standard library."""
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import unittest
import urllib.error
import urllib.request

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--window-size=1200,800",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars",
         "--force-device-scale-factor=1"]
SKIPPED = 77
START_LIMIT_S = 60
ELEMENT_KEY = "element-6066-11e4-a52e-4f735466cecf"  # how WebDriver spells a reference to an element


def find_programs():
    """The paths of Chromium and its driver, or None where one of them is missing."""
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    driver = shutil.which("chromedriver")
    return (chromium, driver) if chromium and driver else None


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Browser:
    def __init__(self, programs, profile):
        chromium, driver = programs
        port = free_port()
        self._base = f"http://127.0.0.1:{port}"
        self._opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        self._driver = subprocess.Popen([driver, f"--port={port}"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        env={**os.environ, "no_proxy": "127.0.0.1"})
        self._session = None
        try:
            self._wait_until_ready()
            options = {"binary": chromium, "args": FLAGS + [f"--user-data-dir={profile}"]}
            wanted = {"alwaysMatch": {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}
            self._session = self._call("POST", "/session", {"capabilities": wanted})["sessionId"]
        except BaseException:
            self.close()
            raise

    def close(self):
        try:
            if self._session:
                self._call("DELETE", f"/session/{self._session}")
        finally:
            self._driver.terminate()
            self._driver.wait(20)

    def _call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self._base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with self._opener.open(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(f"{method} {path}: {error.read().decode(errors='replace')}") from error

    def _wait_until_ready(self):
        end = time.monotonic() + START_LIMIT_S
        while True:
            try:
                if self._call("GET", "/status")["ready"]:
                    return
            except OSError:
                pass
            if time.monotonic() > end or self._driver.poll() is not None:
                raise RuntimeError("chromedriver did not start")
            time.sleep(0.05)

    def _do(self, path, body):
        return self._call("POST", f"/session/{self._session}/{path}", body)

    def open(self, path):
        self._do("url", {"url": path.as_uri()})

    def run(self, script):
        """What a script in the page returns."""
        return self._do("execute/sync", {"script": script, "args": []})

    def click(self, selector):
        element = self._do("element", {"using": "css selector", "value": selector})[ELEMENT_KEY]
        self._do(f"element/{element}/click", {})

    def press(self, key):
        self._do("actions", {"actions": [{"type": "key", "id": "keys", "actions": [
            {"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]}]})

    def mouse(self, *steps):
        """Steps are "down", "up" and places (x, y) in the window."""
        actions = []
        for step in steps:
            if step in ("down", "up"):
                actions.append({"type": f"pointer{step.capitalize()}", "button": 0})
            else:
                actions.append({"type": "pointerMove", "duration": 0, "x": round(step[0]), "y": round(step[1])})
        self._do("actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": actions}]})

    def print_page(self):
        """A PDF of the page, in base64."""
        return self._do("print", {"orientation": "landscape"})

    def complaints(self):
        """Warnings and errors of the console since the last call."""
        log = self._do("se/log", {"type": "browser"})
        # Chromium's hints on rendering are about a test that reads pixels, not about the page.
        return [entry["message"] for entry in log
                if entry["level"] in ("SEVERE", "WARNING") and entry.get("source") != "rendering"
                and not entry["message"].startswith("rendering ")]


class PageTest(unittest.TestCase):
    """Pages in a folder, opened one after the other in one browser. No page may complain."""
    folder = None
    browser = None

    def open(self, name):
        self.browser.open(self.folder / f"{name}.html")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])


def main(test_class, make_pages):
    """Runs the tests on what make_pages(folder) makes. @return the exit status; 77 without Chromium or pages"""
    programs = find_programs()
    if not programs:
        print("skipped: chromium and chromedriver are not installed")
        return SKIPPED
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        if not make_pages(folder):
            print("skipped: this build makes no HTML pages")
            return SKIPPED
        test_class.folder = pathlib.Path(folder)
        test_class.browser = Browser(programs, profile)
        try:
            return 0 if unittest.main(argv=[""], exit=False).result.wasSuccessful() else 1
        finally:
            test_class.browser.close()
