#!/usr/bin/env python3
"""Whether the policy of the server's page names its script and its style as they are: hashes.py [--fix]"""

import base64
import hashlib
import pathlib
import re
import sys

PAGE = pathlib.Path(__file__).resolve().parents[2] / "apps/zel-server/page/index.html"


def with_hashes(page: str) -> str:
    for tag in ("style", "script"):
        (content,) = re.findall(rf"<{tag}>(.*?)</{tag}>", page, re.DOTALL)
        digest = base64.b64encode(hashlib.sha256(content.encode()).digest()).decode()
        page, count = re.subn(rf"({tag}-src [^;]*)'sha256-[^']*'", rf"\g<1>'sha256-{digest}'", page)
        if count != 1:
            sys.exit(f"{PAGE.name}: {count} hashes of its {tag}")
    return page


def main() -> None:
    page = PAGE.read_text(encoding="utf-8")
    right = with_hashes(page)
    if page == right:
        return
    if sys.argv[1:] != ["--fix"]:
        sys.exit(f"{PAGE.name}: its policy has other hashes than its script and its style; tests/page/hashes.py --fix mends it")
    PAGE.write_text(right, encoding="utf-8")


if __name__ == "__main__":
    main()
