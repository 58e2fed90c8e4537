"""Prints each test that CTest did not run and why, one a line: skipped-tests.py FILE, which is
what `ctest --output-junit FILE` wrote.

Fails where a test failed and then skipped: CTest counts it as skipped and tells nobody.
"""
import re
import sys
import xml.etree.ElementTree

FAILURE = re.compile(r"\[  FAILED  \]|ERROR: \w+Sanitizer|runtime error:")


def reason(output):
    """GoogleTest's "file:1: Skipped", with the reason below, or "Skipped: " and the reason."""
    found = re.search(r"\bSkipped(?:: |\n)(.*?)(?:\n *\n|\n\[|\n?\Z)", output, re.DOTALL)
    return " ".join(found[1].split()) if found and found[1].strip() else "gives no reason"


def main():
    failed = False
    for test in xml.etree.ElementTree.parse(sys.argv[1]).iter("testcase"):
        skipped = test.find("skipped")
        output = test.findtext("system-out", "")
        if test.get("status") == "disabled":
            print(f"{test.get('name')}: disabled")
        # Others that did not run, CTest counts as failed.
        elif skipped is not None and skipped.get("message", "").startswith("SKIP_"):
            print(f"{test.get('name')}: {reason(output)}")
            if FAILURE.search(output):
                failed = True
                print(f"{test.get('name')} failed before it skipped:\n{output}", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
