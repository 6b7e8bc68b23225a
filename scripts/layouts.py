"""Prints docs/layouts.md: where each member of each public record lies, as the compiler says for 64 and 32 bits."""
import pathlib
import re
import subprocess
import tempfile

HEADERS = ("include/encmgr/PluginRecords.h", "include/encmgr/encmgr_toolbox.h")
START = """# Layouts

The records of the public headers: offset and size of each member in bytes, on 64-bit and on 32-bit x86. The headers say
what the members mean. `scripts/reference` compares this page with the compiler; `scripts/reference --write` renews it.
All words are little-endian, and `wchar_t` has 4 bytes. In a `MEDIA_FRAME` a block of audio and a picture share their
place."""


def records(path):
    text = re.sub(r"/\*.*?\*/", "", pathlib.Path(path).read_text(encoding="utf-8"), flags=re.S)
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\n\} \1;", text, flags=re.S):
        body = re.sub(r"\n    (union \{|\};)", "", body)
        yield name, re.findall(r"(?:\(\*(\w+)\)\([^;]*|(\w+)(?:\[\d+\])?);", body)


def program(path):
    """C whose output has the record's name and size, or a member's name, offset and size, in each line."""
    lines = []
    for name, members in records(path):
        lines.append(f'    printf("{name} %zu\\n", sizeof({name}));')
        for member in map("".join, members):
            size = f"sizeof((({name}*)0)->{member})"
            lines.append(f'    printf("{member} %zu %zu\\n", offsetof({name}, {member}), {size});')
    include = path.removeprefix("include/")
    return "\n".join(["#include <stddef.h>", "#include <stdio.h>", f'#include "{include}"', "int main(void)", "{",
                      *lines, "}", ""])


def layout(path, bits):
    with tempfile.TemporaryDirectory() as folder:
        command = ["gcc", "-std=c11", f"-m{bits}", "-Iinclude", "-xc", "-", "-o", f"{folder}/layout"]
        subprocess.run(command, input=program(path), text=True, check=True)
        return subprocess.run([f"{folder}/layout"], stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()


print(START)
for header in HEADERS:
    print(f"\n## {header.removeprefix('include/')}")
    for wide, narrow in zip(layout(header, 64), layout(header, 32)):
        name, *at = wide.split() + narrow.split()[1:]
        if len(at) == 2:
            print(f"\n### {name}\n\n{at[0]} bytes; {at[1]} on 32 bits.\n")
            print("| Member | Offset, 64 bits | Size | Offset, 32 bits | Size |\n|---|--:|--:|--:|--:|")
        else:
            print(f"| `{name}` | " + " | ".join(at) + " |")
