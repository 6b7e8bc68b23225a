"""Makes of the headers' plain comments those that Doxygen reads; prints the header that it is given.

A comment that begins a line documents what follows it, and so do all declarations right behind that one which have none
of their own. A comment behind a member belongs to the member. A heading "---- text ----" begins a group, and documents a
declaration right behind it.
"""
import re
import sys


def blocks(lines):
    """The lines, with a comment that begins a line as one list of its texts, whichever its form."""
    at = 0
    while at < len(lines):
        line = lines[at]
        texts = []
        if re.match(r"\s*/\*", line):
            while True:
                texts.append(lines[at])
                at += 1
                if "*/" in texts[-1]:
                    break
            texts = [re.sub(r"^\s*(/\*| \*(?!/))? ?|\s*\*/.*$", "", text) for text in texts]
        elif re.match(r"\s*//(?! NOLINT)", line):
            while at < len(lines) and re.match(r"\s*//", lines[at]):
                texts.append(re.sub(r"^\s*// ?", "", lines[at]))
                at += 1
        else:
            at += 1
        yield texts or line


def documented(texts, about=""):
    """As a comment of Doxygen's. Indented lines are tables, which stay as they are."""
    text = "\n".join(text.replace("\\", "\\\\").replace("@", "\\@") for text in texts) + "\n"
    text = re.sub(r"((^ {2,}\S.*\n)+)", r"@verbatim\n\1@endverbatim\n", text, flags=re.M)
    return "/** " + about + text + "*/"


def converted(lines):
    out, last, follows, group, first = [], None, False, False, True
    for block in blocks(lines):
        if isinstance(block, list):
            heading = re.match(r"-{4,}\s*(.*?)\s*-*$", block[0])
            if heading and re.match(r"-{20}", block[0]):
                block = block[1:]  # a rule above the heading's own line
                heading = re.match(r"(.*)", block[0])
            if heading and not first:
                out.append("/** @} */" if group else "")
                out.append("/** @name " + heading[1] + "\n" + "\n".join(block[1:]) + " */\n/** @{ */")
                group = follows = True
                last = [heading[1] + ".", *block[1:]]
            else:
                out.append(documented(block, "@file\n" if first else ""))
                last, follows = None if first else block, False
            first = False
            continue
        if block.startswith("ENCMGR_API") and last and follows:
            out.append(documented(last))  # the same holds for this one
        if block.startswith(("#endif /* ENCMGR", "#endif // ENCMGR", "#ifdef __cplusplus")) and group:
            out.append("/** @} */")
            group = False
        if re.search(r";|,", block):
            block = re.sub(r"(;|,)\s*/\*\s*", r"\1 /**< ", re.sub(r"(;|,)\s*//\s*(?!NOLINT|IWYU)", r"\1 ///< ", block))
        out.append(block)
        if block.strip():
            follows = follows or bool(re.match(r"ENCMGR_API", block))
        else:
            follows = False
            last = None
    return out


print("\n".join(converted(open(sys.argv[1], encoding="utf-8").read().splitlines())))
