#!/usr/bin/env python3
"""Damages a store in many ways and reports what hqosd makes of it.

Usage: bench/damage.py BIN_DIR [ROUNDS [SEED]]

Each round takes a fresh copy of a store, changes its file, starts hqosd on it and compares every
configuration record with the original. A record that is lost or different is reported when the log
names damage or a quarantine."""
import atexit
import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

BIN = os.path.abspath(sys.argv[1])
ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 400
RANDOM = random.Random(int(sys.argv[3]) if len(sys.argv) > 3 else 1)
PAGE = 4096


class Service:
    def __init__(self, directory):
        self.directory = directory
        self.environment = dict(os.environ, HQOS_RUNTIME_DIR=directory, HQOS_STATE_DIR=directory)
        self.log = os.path.join(directory, "log")
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen([f"{BIN}/hqosd"], env=self.environment, stderr=log,
                                            stdout=subprocess.DEVNULL)
        atexit.register(self.process.kill)

    def wait(self):
        """True when it serves, False when it has ended."""
        while self.process.poll() is None:
            with open(self.log, encoding="utf-8", errors="replace") as log:
                if "listening" in log.read():
                    return True
            time.sleep(0.002)
        return False

    def stop(self):
        self.process.terminate()
        self.process.wait()

    def control(self, *arguments, **options):
        done = subprocess.run([f"{BIN}/hqosctl", *arguments], env=self.environment, check=False,
                              capture_output=True, text=True, **options)
        assert done.returncode == 0, done.stderr + open(self.log, errors="replace").read()
        return done.stdout

    def records(self):
        entries = json.loads(self.control("db", "export"))
        return {e["key"]: e["bytes"] for e in entries if "quarantined" not in e}


def build(directory):
    service = Service(directory)
    assert service.wait()
    lines = [f"fg add FG{i}" for i in range(300)] + [f"dp add dp{i}" for i in range(20)]
    lines += [f"fp add fp{i}" for i in range(100)] + [f"fp set fp{i} --dp dp{i % 20}" for i in range(100)]
    lines += ["sp add gold", "nest sp gold fg FG0 --match service-vlan-id:1"]
    lines += [f"nest fg FG0 fg FG{i} --match service-vlan-id:{i} --fp fp{i % 100}"
              for i in range(1, 200)]
    service.control("--batch", "-", input="\n".join(lines))
    records = service.records()
    service.stop()
    return records


def damage(file):
    with open(file, "rb") as stored:
        data = bytearray(stored.read())
    kind = RANDOM.choice(["byte", "byte", "bytes", "page", "zero", "swap", "cut", "bits"])
    pages = len(data) // PAGE
    one, other = RANDOM.randrange(pages) * PAGE, RANDOM.randrange(pages) * PAGE
    at = RANDOM.randrange(len(data))
    if kind == "byte":
        data[at] = (data[at] + RANDOM.randrange(1, 256)) % 256
    elif kind == "bytes":
        for i in range(at, min(len(data), at + RANDOM.randrange(1, 200))):
            data[i] = RANDOM.randrange(256)
    elif kind == "page":
        data[one:one + PAGE] = RANDOM.randbytes(PAGE)
    elif kind == "zero":
        data[one:one + PAGE] = bytes(PAGE)
    elif kind == "swap":
        data[one:one + PAGE], data[other:other + PAGE] = data[other:other + PAGE], data[one:one + PAGE]
    elif kind == "cut":
        del data[at:]
    else:
        for _ in range(20):
            data[RANDOM.randrange(len(data))] ^= 1 << RANDOM.randrange(8)
    with open(file, "wb") as stored:
        stored.write(data)
    return kind


def main():
    root = tempfile.mkdtemp()
    original = os.path.join(root, "original")
    os.mkdir(original)
    records = {k: v for k, v in build(original).items() if not k.startswith(("FP-run", "IFRUN"))}
    not_started = silent = intact = 0
    lost = {}
    for number in range(ROUNDS):
        directory = os.path.join(root, "damaged")
        shutil.rmtree(directory, ignore_errors=True)
        shutil.copytree(original, directory)
        kind = damage(os.path.join(directory, "hqosd.db"))
        service = Service(directory)
        if not service.wait():
            not_started += 1
            with open(service.log, encoding="utf-8", errors="replace") as log:
                print(f"round {number}, {kind}: not started: {log.read().strip()}")
            continue
        found = service.records()
        service.stop()
        with open(service.log, encoding="utf-8", errors="replace") as log:
            text = log.read()
        noted = "damaged" in text or "quarantined" in text
        missing = sum(found.get(key) != value for key, value in records.items())
        lost.setdefault(kind, []).append(missing)
        intact += missing == 0
        if missing and not noted:
            silent += 1
            print(f"round {number}, {kind}: {missing} records lost or changed without a word")
    shutil.rmtree(root)
    print(f"{ROUNDS} stores of {len(records)} records: not started {not_started}, lost without a word "
          f"{silent}, nothing lost {intact}; records lost or reduced, median and worst by damage:")
    for kind, counts in sorted(lost.items()):
        print(f"{kind:6} {len(counts):4} stores {statistics.median(counts):6} {max(counts):6}")


main()
