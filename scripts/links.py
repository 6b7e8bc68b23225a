"""Names the links of the documents that lead to no file, or to no heading of a page."""
import pathlib
import re
import subprocess
import sys

PAGES = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.md"], stdout=subprocess.PIPE, text=True,
                       check=True).stdout.split()


def text_of(page):
    """Without what stands in fences."""
    return re.sub(r"^```.*?^```", "", page.read_text(encoding="utf-8"), flags=re.M | re.S)


def anchors(page):
    headings = re.findall(r"^#+ (.*)$", text_of(page), flags=re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


bad = 0
for page in map(pathlib.Path, PAGES):
    for target in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`]*`", "", text_of(page))):
        path, _, anchor = target.partition("#")
        there = (page.parent / path) if path else page
        if re.match(r"\w+:", target):
            continue
        if not there.exists() or (anchor and anchor not in anchors(there)):
            print(f"{page}: {target} leads nowhere")
            bad += 1
sys.exit(bad > 0)
