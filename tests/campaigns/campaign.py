"""What the campaigns share: a temporary folder, the development server, sphost, and the closing line."""
import argparse
import http.client
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
GENERATIONS = ("modern", "2013", "2010")
LIBRARY = "/sites/team/Shared Documents/"
SANITIZER_WORDS = ("AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:")
SANITIZER_STATUS = 86


def make_parser(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--bin", type=Path, default=REPOSITORY / "build/dev/bin", metavar="DIR",
                        help="where sphost, SharePoint.tkp and spdevserver are (default: build/dev/bin)")
    parser.add_argument("--seed", type=int, default=None, help="repeats the choices of an earlier run")
    parser.add_argument("--minutes", type=float, default=None, help="ends the run after this time at the latest")
    parser.add_argument("--verbose", action="store_true", help="one line for each step")
    return parser


class Ended:
    """How a process ended; status is negative for a signal and None for one that had to be ended."""

    def __init__(self, status, out, err, peak):
        self.status, self.out, self.err, self.peak = status, out, err, peak

    def __str__(self):
        return f"status {self.status}: {self.err.strip()[-300:]}"


class Running:
    """A process in a session of its own; what it writes goes to files, so that nobody waits for a pipe."""

    def __init__(self, arguments, environment, folder, text=""):
        self._files = [tempfile.TemporaryFile(dir=folder) for _ in range(3)]
        self._files[0].write(text.encode())
        self._files[0].seek(0)
        self._process = subprocess.Popen([str(a) for a in arguments], env=environment, stdin=self._files[0],
                                         stdout=self._files[1], stderr=self._files[2], cwd=folder,
                                         start_new_session=True)
        self._ended = None
        self._lock = threading.RLock()

    def poll(self):
        with self._lock:
            if self._ended is None:
                pid, status, usage = os.wait4(self._process.pid, os.WNOHANG)
                if pid:
                    self._finish(os.waitstatus_to_exitcode(status), usage.ru_maxrss)
            return self._ended

    def _finish(self, status, peak):
        self._process.returncode = status
        texts = []
        for file in self._files[1:]:
            file.seek(0)
            texts.append(file.read().decode(errors="replace"))
        for file in self._files:
            file.close()
        self._ended = Ended(status, texts[0], texts[1], peak)

    def signal(self, number):
        with self._lock:
            if self.poll() is None:
                os.kill(self._process.pid, number)

    def wait(self, seconds=60):
        until = time.monotonic() + seconds
        while self.poll() is None:
            if time.monotonic() > until:
                self.end()
                self._ended.status = None
                break
            time.sleep(0.002)
        return self._ended

    def end(self):
        """Ends it and its children. Until it was waited for, nobody else can have its number."""
        with self._lock:
            if self._ended is None:
                os.killpg(self._process.pid, signal.SIGKILL)
                _, status, usage = os.wait4(self._process.pid, 0)
                self._finish(os.waitstatus_to_exitcode(status), usage.ru_maxrss)


class Campaign:
    def __init__(self, name, options):
        self.name, self.options = name, options
        self.seed = options.seed if options.seed is not None else random.randrange(1_000_000)
        self.random = random.Random(self.seed)
        self.folder = Path(tempfile.mkdtemp(prefix=f"campaign-{name}-"))
        self.findings = []
        self._begun = time.monotonic()
        self._running = []
        self._lock = threading.Lock()
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
        signal.signal(signal.SIGHUP, lambda *_: sys.exit(1))

    def __enter__(self):
        for program in ("sphost", "spdevserver", "SharePoint.tkp"):
            if not (self.options.bin / program).exists():
                self._clean()
                sys.exit(f"{self.options.bin / program} isn't there; build it first, or say --bin DIR")
        return self

    def __exit__(self, *_):
        self._clean()

    def _clean(self):
        for process in self._running:
            process.end()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, arguments, environment, text=""):
        process = Running(arguments, environment, self.folder, text)
        with self._lock:
            self._running = [other for other in self._running if other.poll() is None] + [process]
        return process

    def is_over(self):
        limit = self.options.minutes
        return limit is not None and time.monotonic() - self._begun > limit * 60

    def find(self, text):
        with self._lock:
            self.findings.append(text)
        print(f"FINDING {text}", flush=True)

    def tell(self, text):
        if self.options.verbose:
            print(text, flush=True)

    def close(self, counts):
        """The closing line; returns the exit status."""
        seconds = round(time.monotonic() - self._begun)
        print(f"{self.name}: {counts}, {len(self.findings)} findings in {seconds} s (--seed {self.seed})")
        return 1 if self.findings else 0

    def environment(self, folder):
        """Nothing of the caller's but the search path; encrypted connections lead nowhere."""
        (folder / "tmp").mkdir(parents=True, exist_ok=True)
        return {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": str(folder), "TMPDIR": str(folder / "tmp"),
                "LC_ALL": "C.UTF-8", "https_proxy": "http://127.0.0.1:9",
                "ASAN_OPTIONS": f"exitcode={SANITIZER_STATUS}:detect_leaks=0", "TSAN_OPTIONS": f"exitcode={SANITIZER_STATUS}",
                "UBSAN_OPTIONS": f"exitcode={SANITIZER_STATUS}:halt_on_error=1:print_stacktrace=1"}


class Server:
    def __init__(self, campaign, generation, options=()):
        self.generation = generation
        folder = campaign.folder / f"server-{generation}"
        folder.mkdir()
        out = folder / "out"
        environment = campaign.environment(folder)
        program = campaign.options.bin / "spdevserver"
        # The address goes to a file that can be read while the server runs.
        self._process = campaign.start(["sh", "-c", 'exec "$0" "$@" > ' + f"'{out}'", program, "--data", folder / "data",
                                        "--port", "0", "--admin", "--exit-with-parent", "--generation", generation,
                                        *options], environment)
        until = time.monotonic() + 60
        while not (out.exists() and "\n" in out.read_text()):
            ended = self._process.poll()
            if ended or time.monotonic() > until:
                raise RuntimeError(f"the server didn't start: {ended}")
            time.sleep(0.01)
        self.origin = out.read_text().split("Listening on ")[1].strip()
        self.site = self.origin + "/sites/team"

    def is_running(self):
        return self._process.poll() is None

    def url(self, name):
        return self.origin + urllib.parse.quote(LIBRARY + name)

    def admin(self, method, operation, body=None, **arguments):
        """Status, headers and body of an admin call."""
        connection = http.client.HTTPConnection(urllib.parse.urlsplit(self.origin).netloc, timeout=60)
        try:
            query = urllib.parse.urlencode(arguments)
            if isinstance(body, str):
                body = body.encode()
            connection.request(method, f"/_dev/{operation}?{query}", body if body is not None else b"")
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()

    def set_faults(self, rules):
        status, _, body = self.admin("POST", "faults", json.dumps(rules, ensure_ascii=False).encode("utf-8", "replace"))
        if status != 200:
            raise RuntimeError(f"refused faults: {body}")

    def clear_faults(self):
        self.admin("DELETE", "faults")

    def fired(self):
        return sum(rule["fired"] for rule in json.loads(self.admin("GET", "faults")[2]))

    def requests(self):
        return len(json.loads(self.admin("GET", "requests")[2]))

    def forget_requests(self):
        self.admin("DELETE", "requests")

    def write(self, name, content, user="bob"):
        """Saves a document as somebody, over any check-out."""
        status, _, body = self.admin("POST", "write", content, path=LIBRARY + name, user=user, force=1)
        if status != 200:
            raise RuntimeError(f"cannot write {name}: {body}")

    def content(self, name):
        """Its bytes, None where there is no such document."""
        status, _, body = self.admin("GET", "document", path=LIBRARY + name)
        return body if status == 200 else None

    def holder(self, name):
        return self.admin("GET", "document", path=LIBRARY + name)[1].get("X-Checked-Out-By", "")

    def token(self, user):
        return json.loads(self.admin("POST", "token", user=user)[2])["access_token"]


class Sphost:
    """sphost with a profile and a temporary folder of its own."""

    def __init__(self, campaign, name, **environment):
        self._campaign = campaign
        self.folder = campaign.folder / name
        self.profile = self.folder / "profile"
        self._environment = campaign.environment(self.folder) | environment
        self._program = campaign.options.bin / "sphost"

    def start(self, *arguments, text=""):
        return self._campaign.start([self._program, "--profile", self.profile, *arguments], self._environment, text)

    def run(self, *arguments, text="", seconds=60):
        ended = self.start(*arguments, text=text).wait(seconds)
        fault = crash_of(ended)
        if fault:
            self._campaign.find(f"sphost {' '.join(map(str, arguments))}: {fault}")
        return ended

    def place_arguments(self, server, user="alice"):
        """The command line that adds the site, and what goes to its standard input."""
        if server.generation == "modern":
            return ("place", "add", server.site, "--api", "modern", "--token-stdin"), server.token(user) + "\n"
        return (("place", "add", server.site, "--api", "compatible", "--user", user, "--password-stdin"), user + "\n")

    def add_place(self, server, user="alice"):
        arguments, text = self.place_arguments(server, user)
        added = self.run(*arguments, text=text)
        if added.status != 0:
            raise RuntimeError(f"place add: {added}")

    def waiting(self, url, seconds=0):
        """The rows that recover lists of the document, after an editor that still runs has ended or the time is over."""
        until = time.monotonic() + seconds
        while True:
            listed = self.run("recover", "--json")
            if listed.status != 0:
                self._campaign.find(f"recover: {listed}")
                return []
            rows = [row for row in json.loads(listed.out) if row["url"] == url]
            if time.monotonic() > until or not any(row["state"] == "editing" for row in rows):
                return rows
            time.sleep(0.05)


def crash_of(ended):
    """What says that a process was not ended by itself, or by a sanitizer; None when it was."""
    report = next((line for line in ended.err.splitlines() if any(word in line for word in SANITIZER_WORDS)), None)
    if report or ended.status == SANITIZER_STATUS:
        return f"the sanitizer reports {report}"
    if ended.status is None:
        return "it doesn't end"
    if ended.status < 0:
        return f"it ended by signal {-ended.status}"
    if ended.status > 3:
        return f"unknown {ended}"
    return None


def is_safe(host, server, name, payload):
    """Whether the server has the bytes, or recover lists a local file that has them."""
    if server.content(name) == payload:
        return True
    for row in host.waiting(server.url(name)):
        for value in row.values():
            if isinstance(value, str) and value.startswith("/") and Path(value).is_file():
                if Path(value).read_bytes() == payload:
                    return True
    return False
