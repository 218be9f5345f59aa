"""House rules that a program can hold: style_test.py TREE. Prints every violation."""

import os
import re
import sys
from pathlib import Path

MAX_COLUMNS, MAX_FILE_LINES, MAX_FUNCTION_LINES = 100, 600, 70

# Which rooms each room may include from, itself and the rooms within it apart. A room inside
# another is held to its own line. include/nccnet is written "nccnet", the tool's rooms as they are.
PLATFORM = "nccnet platform "
LAYERS = {
    "include": "nccnet",
    "platform": "nccnet",
    "platform/disk": "nccnet platform/* platform/text",
    "platform/text": "nccnet",
    "platform/stamps": "nccnet platform/disk platform/text",
    "platform/storage": PLATFORM + "platform/disk platform/text",
    "platform/cluster": PLATFORM + "platform/storage platform/text",
    "platform/hdb": PLATFORM + "platform/storage platform/text",
    "core": PLATFORM,
    "structure": PLATFORM + "core",
    "generate": PLATFORM + "core structure generate/affected generate/collection generate/journal",
    "generate/affected": PLATFORM + "core structure",
    "generate/collection": PLATFORM + "core generate/affected",
    "generate/directories": PLATFORM + "core structure generate/*",
    "generate/routing": PLATFORM + "core structure generate/* generate/directories",
    "generate/key_centre": PLATFORM + "core structure generate/* generate/collection",
    "generate/explain": PLATFORM + "core structure generate/* generate/directories "
                                   "generate/routing",
    "generate/journal": PLATFORM + "core",
    "exchange": PLATFORM + "core structure",
    "exchange/read": PLATFORM + "core exchange/*",
    "exchange/view": PLATFORM + "core exchange/* exchange/read",
    "exchange/write": PLATFORM + "core structure exchange/* exchange/read exchange/view",
    "tools": "nccnet",
    "examples": "nccnet",
}
TOOL = "tools/nccadm"
TOOL_LAYERS = {
    "": "cluster commands console description files network plan",
    "console": "",
    "network": "console",
    "description": "console network",
    "plan": "console network description",
    "files": "console network",
    "cluster": "console network files",
    "commands": "cluster console network description plan files",
}
LAYERS |= {f"{TOOL}/{room}".rstrip("/"): "nccnet " + " ".join(f"{TOOL}/{r}" for r in below.split())
           for room, below in TOOL_LAYERS.items()}
LIBRARY = {"include", "platform", "core", "structure", "generate", "exchange"}
CODE = LIBRARY | {"tools", "examples", "tests", "bench", "fuzz"}

ENGINE_HEADERS = {"sqlite3.h", "gcrypt.h"}
ENGINE_FOLDERS = {"platform", "bench"}
SYSTEM_HEADERS = re.compile(r"(sys/|linux/|unistd\.h|fcntl\.h|dirent\.h|pthread\.h|fstream$"
                            r"|filesystem$)")

PRINTING = re.compile(r"\bstd::(cout|cerr|clog)\b"
                      r"|(?<![\w.])(v?f?printf|f?puts|putchar|perror|f?putc)\s*\(")
INCLUDE = re.compile(r'\s*#\s*include\s+([<"])([^>"]+)[>"]')
NEUTRAL = re.compile(r'//[^\n]*|/\*.*?\*/|R"([^ ()\\\n]*)\(.*?\)\1"|"(?:[^"\\\n]|\\.)*"'
                     r"|(?<![0-9A-Fa-f])'(?:[^'\\\n]|\\.)*'", re.DOTALL)
PREPROCESSOR = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)
# What stands before a brace that opens no function, though it may hold a parenthesis.
NOT_A_FUNCTION = re.compile(r"\s*(template\s*<.*>\s*)?(inline\s+)?"
                            r"((namespace|class|struct|union|enum)\b|extern\s*$)|.*=\s*$",
                            re.DOTALL)


def blank(text):
    """The code without comments, literals and preprocessor lines, line for line."""
    for pattern in (NEUTRAL, PREPROCESSOR):
        text = pattern.sub(lambda match: "\n" * match.group().count("\n"), text)
    return text


def find_functions(code):
    """Yields (line, lines) of each function, its head included."""
    depth_of_function, starts, head, line, head_line = None, [], "", 1, 1
    for character in code:
        if character == "{":
            if depth_of_function is None and "(" in head and not NOT_A_FUNCTION.match(head):
                depth_of_function = len(starts)
            starts.append(head_line)
        elif character == "}" and starts:
            start = starts.pop()
            if depth_of_function == len(starts):
                yield start, line - start + 1
                depth_of_function = None
        if character in "{};" or (character == ":" and head.strip() in ("public", "private",
                                                                        "protected")):
            head = ""
        else:
            if not head.strip() and not character.isspace():
                head, head_line = "", line
            head += character
        line += character == "\n"


def room_of(path):
    """The innermost room of the plan that the file is in; its first folder when it is in none."""
    folders = path.split("/")[:-1]
    while len(folders) > 1 and "/".join(folders) not in LAYERS:
        folders.pop()
    return "/".join(folders)


def find_allowed(room):
    """What a room may see, itself and the rooms within it apart among them."""
    return [room + "/*", *LAYERS[room].split()]


def may_see(allowed, room):
    """A room stands for all that is in it, "room/*" for itself alone."""
    return room == allowed.removesuffix("/*") or room.startswith(allowed + "/")


class Checker:
    def __init__(self, tree):
        self.tree = tree
        self.violations = []

    def report(self, path, line, what):
        self.violations.append(f"{path.relative_to(self.tree)}:{line}: {what}")

    def check_tree(self):
        files = [path for folder in sorted(CODE | {"cmake"})
                 for path in sorted((self.tree / folder).rglob("*"))
                 if path.is_file() and path.suffix in (".h", ".cpp", ".py", ".cmake")]
        for path in files:
            self.check_text(path)
            if path.suffix in (".h", ".cpp"):
                self.check_code(path)
        self.check_lists(files)
        self.check_transcripts()
        return len(files)

    def check_text(self, path):
        lines = path.read_text(encoding="utf-8").split("\n")
        if len(lines) - 1 > MAX_FILE_LINES:
            self.report(path, 1, f"{len(lines) - 1} lines, at most {MAX_FILE_LINES}")
        for number, line in enumerate(lines, 1):
            if len(line) > MAX_COLUMNS:
                self.report(path, number, f"{len(line)} columns, at most {MAX_COLUMNS}")
        if not re.fullmatch(r"[a-z][a-z0-9_]*\.[a-z]+", path.name):
            self.report(path, 1, "file names are in snake_case")

    def check_code(self, path):
        folder = path.relative_to(self.tree).parts[0]
        text = path.read_text(encoding="utf-8")
        code = blank(text)
        if path.suffix == ".h" and "#pragma once" not in text:
            self.report(path, 1, "no #pragma once")
        for start, length in find_functions(code):
            if length > MAX_FUNCTION_LINES:
                self.report(path, start, f"a function of {length} lines, at most "
                                         f"{MAX_FUNCTION_LINES}")
        for number, line in enumerate(code.split("\n"), 1):
            printing = PRINTING.search(line)
            if folder in LIBRARY and printing:
                self.report(path, number, f"the library prints nothing: {printing.group().strip()}")
        for number, line in enumerate(text.split("\n"), 1):
            include = INCLUDE.match(line)
            if include:
                self.check_include(path, number, folder, *include.groups())

    def check_include(self, path, number, folder, kind, header):
        if header in ENGINE_HEADERS and folder not in ENGINE_FOLDERS:
            self.report(path, number, f"{header} is for platform/ alone")
        if folder not in LAYERS:
            return
        if folder in LIBRARY - {"platform", "include"} and SYSTEM_HEADERS.match(header):
            self.report(path, number, f"files belong to platform/: {header}")
        within = path.relative_to(self.tree).as_posix()
        header = self.find_header(path, within, kind, header)
        if header is None:
            return
        room = room_of(within)
        target = room_of(header)
        if not any(may_see(allowed, target) for allowed in find_allowed(room)):
            self.report(path, number, f"{room}/ may not include {header}")

    def find_header(self, path, within, kind, header):
        """The header below the tree, from wherever it is named; None when it is none of ours."""
        tried = [path.parent] if kind == '"' else []
        tried += [self.tree / TOOL] if within.startswith(TOOL) else []
        for folder in tried + [self.tree]:
            found = Path(os.path.normpath(folder / header))
            if found.is_file() and self.tree in found.parents:
                return found.relative_to(self.tree).as_posix()
        is_ours = header.split("/")[0] in LIBRARY | {"nccnet"}
        return header if kind == '"' or is_ours else None

    def check_transcripts(self):
        """A section that no test plays would prove nothing."""
        told = "".join(path.read_text(encoding="utf-8")
                       for path in (self.tree / "tests").rglob("*.cpp"))
        for name in ("outputs", "exchange", "copies", "operations"):
            path, seen = self.tree / f"tests/golden/{name}.txt", set()
            for number, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1):
                title = line.removeprefix("== ")
                if title == line:
                    continue
                if title in seen:
                    self.report(path, number, f"a second section {title}")
                if not re.search(rf'TEST\w*\(\w+,\s*{title}\)|"{title}"', told):
                    self.report(path, number, f"no test plays {title}")
                seen.add(title)

    def check_lists(self, files):
        """A source that no list names would be neither built nor run."""
        sources = "".join((self.tree / name).read_text(encoding="utf-8")
                          for name in ("CMakeLists.txt", "cmake/etcd.cmake"))
        tests = (self.tree / "tests/CMakeLists.txt").read_text(encoding="utf-8")
        for path in files:
            name = path.relative_to(self.tree)
            if path.suffix == ".cpp" and name.parts[0] in LIBRARY:
                if f" {name}" not in sources:
                    self.report(path, 1, "not in CMakeLists.txt")
            elif name.parts[0] == "tests" and path.stem.endswith("_test"):
                name = path.stem[:-5]
                if not re.search(rf"_test\({name}\b|foreach\(name IN ITEMS[^)]*\b{name}\b", tests):
                    self.report(path, 1, "not in tests/CMakeLists.txt")


def main():
    checker = Checker(Path(sys.argv[1]).resolve())
    count = checker.check_tree()
    if not count:
        sys.exit("no files found")
    print("\n".join(checker.violations))
    print(f"{len(checker.violations)} violations in {count} files")
    sys.exit(bool(checker.violations))


if __name__ == "__main__":
    main()
