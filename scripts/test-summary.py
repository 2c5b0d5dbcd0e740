#!/usr/bin/env python3
"""Counts what the test runs of scripts/test.sh did, from their own records.

    test-summary.py [--windows BUILD_DIR] BUILD_DIR...

Each BUILD_DIR holds CTest's JUnit file (junit.xml) and the GoogleTest XML
files its programs wrote (gtest-results/*.xml, anywhere below it). Cases are
counted from GoogleTest; a program that CTest saw fail without a failed case
of its own (it crashed, timed out or never started) counts as one failure.
Prints the skipped and failed cases, then the closing lines; exits 1 when
anything failed or a run left no record.
"""

import argparse
import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def ctest_programs(build):
    """(name, failed) for each program CTest ran in this folder."""
    junit = build / "junit.xml"
    if not junit.is_file():
        raise SystemExit(f"{junit}: CTest left no results (did the run start?)")
    programs = []
    for case in ElementTree.parse(junit).getroot().iter("testcase"):
        failed = case.get("status") == "fail" or case.find("failure") is not None
        programs.append((case.get("name"), failed))
    return programs


def gtest_cases(build):
    """program name -> list of (case name, outcome, message)."""
    results = {}
    for report in sorted(build.glob("**/gtest-results/*.xml")):
        cases = []
        for case in ElementTree.parse(report).getroot().iter("testcase"):
            if case.get("status") != "run":
                continue
            name = f"{case.get('classname')}.{case.get('name')}"
            failure = case.find("failure")
            skipped = case.find("skipped")
            if failure is not None:
                cases.append((name, "failed", failure.get("message", "")))
            elif case.get("result") == "skipped" or skipped is not None:
                message = skipped.get("message", "") if skipped is not None else ""
                cases.append((name, "skipped", message))
            else:
                cases.append((name, "passed", ""))
        results[report.stem] = cases
    return results


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--windows", action="append", default=[], type=pathlib.Path)
    parser.add_argument("builds", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()

    counts = {"passed": 0, "failed": 0, "skipped": 0}
    programs = {"all": 0, "windows": 0, "failed": 0}
    notes = []
    for build in arguments.builds + arguments.windows:
        cases = gtest_cases(build)
        for program, failed in ctest_programs(build):
            programs["all"] += 1
            programs["windows"] += build in arguments.windows
            # A program that is no GoogleTest program (a configure check,
            # say) is one case of its own.
            own = cases.get(program, [(program, "failed" if failed else "passed", "")])
            for name, outcome, message in own:
                counts[outcome] += 1
                if outcome != "passed":
                    # The message starts with the file and line; what follows says why.
                    lines = message.strip().splitlines() or [""]
                    notes.append(f"{outcome}: {build.name}/{program} {name}: {lines[:2][-1]}")
            if failed:
                programs["failed"] += 1
                if not any(outcome == "failed" for _, outcome, _ in own):
                    counts["failed"] += 1
                    notes.append(f"failed: {build.name}/{program} (no failed case of its own: "
                                 "it crashed, timed out or did not start)")

    for note in notes:
        print(note)
    print(f"test programs: {programs['all']}, of them {programs['windows']} Windows test "
          f"programs under Wine; {programs['failed']} failed")
    print(f"tests: {counts['passed']} passed, {counts['failed']} failed, "
          f"{counts['skipped']} skipped")
    return 1 if counts["failed"] or programs["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
