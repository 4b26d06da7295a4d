#!/usr/bin/env python3
"""Runs the dump probe in a fresh folder and checks every dump it wrote with
the independent reader: the format, the faulting thread's stack, the
exception code of each kind, and that each exception address lies inside the
probe program, the module that faulted.

  check_dumps.py --work DIR -- [EMULATOR...] PROBE
"""
import argparse
import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from minidump_reader import Dump, DumpError, basename, describe  # noqa: E402

CODES = {"snapshot": 0x80000003, "access-violation": 0xC0000005, "divide-by-zero": 0xC0000094,
         "illegal-instruction": 0xC000001D, "in-page-error": 0xC0000006}


def stem(name):
    base = basename(name).lower()
    return base[:-4] if base.endswith(".exe") else base


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--work", required=True)
    parser.add_argument("command", nargs="+")
    args = parser.parse_args()
    work = os.path.abspath(args.work)
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    probe = args.command[-1]
    # Under Wine the folder is named through Wine's drive Z:, the root.
    where = "Z:" + work.replace("/", "\\") if probe.endswith(".exe") else work
    run = subprocess.run(args.command + [where], stdout=subprocess.PIPE, text=True, timeout=100)
    print(run.stdout, end="")
    if run.returncode != 0:
        print("probe ended with %d" % run.returncode)
        return 1
    kinds = [line.split()[0] for line in run.stdout.splitlines() if line.strip()]
    folder = os.path.join(work, "dumps")
    names = sorted(os.listdir(folder))
    snapshots = [n for n in names if not n.endswith("_crash.dmp")]
    crashes = [n for n in names if n.endswith("_crash.dmp")]
    expected = [CODES[k] for k in kinds if k != "snapshot"]
    if len(snapshots) != 1 or len(crashes) != len(expected):
        print("dumps %s for the kinds %s" % (names, kinds))
        for top, _dirs, files in os.walk(work):
            print("  %s: %s" % (top, sorted(files)))
        return 1
    failures = 0
    for name, code in zip(snapshots + crashes, [CODES["snapshot"]] + expected):
        try:
            dump = Dump(os.path.join(folder, name))
            dump.check_exception_thread()
            print(describe(dump))
            e = dump.exception
            if e["code"] != code:
                raise DumpError("exception code %#x, expected %#x" % (e["code"], code))
            module = dump.module_at(e["address"])
            if module is None or stem(module["name"]) != stem(probe):
                raise DumpError("exception address %#x is not inside %s" % (e["address"], basename(probe)))
        except DumpError as error:
            print("%s: %s" % (name, error))
            failures += 1
    print("%d dumps read, %d failed" % (len(names), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
