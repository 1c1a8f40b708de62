#!/usr/bin/env python3
"""house.py - the rules of the house, run as tests: who may include whom, where an operating system may be named, how
files and classes are called, that public headers stand alone and explain themselves, and which words do not appear.

    house.py RULE [--root DIRECTORY] [--cache DIRECTORY] [--compiler COMMAND] [--library FILE]

A rule is a function from a Tree to a list of violations; it also says how many files it looked at, and fails when these
are too few to be the real tree. test_house.py shows each rule a tree that breaks it.
"""

import argparse
import concurrent.futures
import hashlib
import os
import re
import subprocess
import sys

SOURCE = (".h", ".cpp", ".mm")
ROOMS = ("Frameworks", "Tools", "Tests", "Benchmarks", "Fuzz")


class Tree:
    """The files of a checkout, by their path from its root."""

    def __init__(self, root):
        self.root = root
        self._texts = {}
        self.paths = []
        for folder, folders, names in os.walk(root):
            top = folder == root
            folders[:] = sorted(
                f for f in folders if f not in (".git", "__pycache__") and not (top and re.match(r"(build\b.*|out)$", f)))
            for name in sorted(names):
                if not (top and name == ".git"):
                    self.paths.append(os.path.relpath(os.path.join(folder, name), root).replace(os.sep, "/"))

    def text(self, path):
        if path not in self._texts:
            with open(os.path.join(self.root, path), encoding="utf-8", errors="replace") as file:
                self._texts[path] = file.read()
        return self._texts[path]

    def below(self, *folders, endings=SOURCE):
        return [p for p in self.paths if p.startswith(tuple(f + "/" for f in folders)) and p.endswith(endings)]

    def has(self, path):
        return path in self.paths

    def headers(self):
        """What a host sees: the headers that are installed."""
        return [p for p in self.below("Frameworks", endings=".h") if re.match(PUBLIC, p) and not re.search(PRIVATE, p)]


UMBRELLA = "Frameworks/HVKStatisticsKit.h"
PUBLIC = (r"Frameworks/(HVKStatisticsKit\.h$|HVKBase/|HVKLogger/|HVKLocalization/|HVKStatistics/|HVKPlatform/ports/"
          r"|HVKPlatform/[^/]+$|HVKPlatform/support/Diagnostics\.h$)")
PRIVATE = r"/Precompiled\.h$"


def includes(text):
    """The project's own includes of a source, with their line numbers."""
    for number, line in enumerate(text.splitlines(), 1):
        match = re.match(r'\s*#\s*(?:include|import)\s+"([^"]+)"', line)
        if match:
            yield number, match.group(1)


# --- layers -----------------------------------------------------------------------------------------------------------

PLATFORM_WORDS = r"HVKPlatform/(Result|Value|Precompiled)\.h|HVKPlatform/ports/|HVKBase/"
SUPPORT = PLATFORM_WORDS + r"|HVKPlatform/support/"
PLATFORM = SUPPORT + r"|HVKPlatform/[^/]+\.h|HVKLogger/"

# Where a file is, and what it may include. The first row that matches holds.
LAYERS = [
    (r"HVKStatisticsKit\.h$", PLATFORM + r"|HVKLocalization/|HVKStatistics/"),
    (r"HVKBase/", r"HVKBase/"),
    (r"HVKLogger/", r"HVKBase/|HVKLogger/"),
    (r"HVKLocalization/", r"HVKBase/|HVKLocalization/"),
    (r"HVKPlatform/ports/", PLATFORM_WORDS),
    (r"HVKPlatform/support/", SUPPORT + r"|HVKLogger/"),
    (r"HVKPlatform/linux/parse/", SUPPORT + r"|HVKPlatform/linux/parse/"),
    (r"HVKPlatform/darwin/decode/", SUPPORT + r"|HVKPlatform/darwin/decode/"),
    (r"HVKPlatform/linux/", PLATFORM + r"|HVKPlatform/linux/"),
    (r"HVKPlatform/darwin/", PLATFORM + r"|HVKPlatform/darwin/"),
    (r"HVKPlatform/recorded/", PLATFORM + r"|HVKPlatform/recorded/"),
    (r"HVKPlatform/[^/]+$", PLATFORM),
    (r"HVKStatistics/", SUPPORT + r"|HVKPlatform/(Machine|LiveMachine)\.h|HVKLogger/|HVKLocalization/|HVKStatistics/"),
]


def layers(tree):
    files = tree.below("Frameworks")
    bad = []
    for path in files:
        inside = path[len("Frameworks/"):]
        allowed = next((row[1] for row in LAYERS if re.match(row[0], inside)), None)
        if allowed is None:
            bad.append(f"{path}: belongs to no layer that this test knows")
            continue
        for number, included in includes(tree.text(path)):
            if not re.match(r"HVK[A-Z]", included):
                bad.append(f'{path}:{number}: "{included}" is not named from Frameworks/')
            elif not re.match(allowed, included):
                bad.append(f"{path}:{number}: may not include {included}")
    return bad, len(files), 80


# --- operating systems ------------------------------------------------------------------------------------------------

SYSTEM_MACRO = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif|elifdef)\b.*"
    r"\b(__linux__|__linux|__gnu_linux__|__APPLE__|__MACH__|TARGET_OS_\w+|__unix__|__FreeBSD__|_WIN32|__ANDROID__)\b")


def systems(tree):
    """No condition on the operating system outside the adapters, whose pure halves are not exempt."""
    files = [p for p in tree.below(*ROOMS)
             if not re.match(r"Frameworks/HVKPlatform/(linux|darwin)/(?!parse/|decode/)", p)]
    bad = []
    for path in files:
        for number, line in enumerate(tree.text(path).splitlines(), 1):
            match = SYSTEM_MACRO.match(line)
            if match:
                bad.append(f"{path}:{number}: asks for {match.group(1)} outside an adapter")
    return bad, len(files), 80


# --- names ------------------------------------------------------------------------------------------------------------

# Headers of several small interfaces that are read together.
COLLECTIONS = ("StatisticsRoles.h",)
# Ports that an adapter need not answer with a file of their name, or answers under another.
RECORDED_NAMES = {"Clock": "VirtualClock", "Queues": "VirtualQueues", "Cost": None, "Digests": None, "Ciphers": None,
                  "ObjectException": None}


def names(tree):
    bad = []
    files = tree.below("Frameworks")
    for path in files:
        text = without_comments(tree.text(path))
        base = os.path.basename(path)
        opened = re.findall(r"^\s*(?:inline\s+)?namespace\s+([\w:]+)\s*\{", text, re.M)
        if base not in ("Export.h", "Precompiled.h", "HVKStatisticsKit.h") and not any(n == "hvk" or n.startswith("hvk::") for n in opened):
            bad.append(f"{path}: has nothing in namespace hvk")
        if path.endswith(".h") and re.search(r"^\s*using\s+namespace\b", text, re.M):
            bad.append(f"{path}: a header opens no namespace to others")
        if path.endswith(".h") and "#pragma once" not in tree.text(path):
            bad.append(f"{path}: lacks #pragma once")
    for path in tree.below("Frameworks/HVKStatistics"):
        base = os.path.basename(path)
        if path.endswith(".cpp"):
            if not tree.has(path[:-4] + ".h"):
                bad.append(f"{path}: has no header of its name")
            continue
        if not path.endswith(".h"):
            bad.append(f"{path}: the framework is portable C++, headers in .h and sources in .cpp")
            continue
        if base in COLLECTIONS:
            continue
        classes = re.findall(r"^(?:template\s*<[^\n]*>\s*)?class\s+(?:HVK_EXPORT\s+)?(\w+)\b(?!\s*;)",
                             without_comments(tree.text(path)), re.M)
        for name in classes:
            if name != base[:-2]:
                bad.append(f"{path}: class {name} belongs into a file of its name")
    ports = [os.path.basename(p)[:-2] for p in tree.below("Frameworks/HVKPlatform/ports", endings=".h")]
    for port in ports:
        for adapter in ("linux", "darwin", "recorded"):
            name = RECORDED_NAMES.get(port, port) if adapter == "recorded" else port
            place = f"Frameworks/HVKPlatform/{adapter}/{name}"
            # An adapter that is not here at all is not missing a file.
            here = [p for p in tree.below(f"Frameworks/HVKPlatform/{adapter}") if "/decode/" not in p]
            if name and here and not any(tree.has(place + ending) for ending in SOURCE):
                bad.append(f"{place}.*: the adapter has no file for the port {port}")
    return bad, len(files), 80


# --- documentation ----------------------------------------------------------------------------------------------------

def without_comments(text):
    """The text with comments, texts and preprocessor lines blanked out; every line keeps its number."""
    blank = lambda match: re.sub(r"[^\n]", " ", match.group(0))
    text = re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', blank, text, flags=re.S)
    return re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)


SCOPE = re.compile(r"^(?:template\s*<.*>\s*)?(?:typedef\s+)?(class|struct|union|enum)\b", re.S)


def declarations(text):
    """The public declarations of a header: (first line, last line, text, class it stands in or None)."""
    code = without_comments(text)
    found = []
    scopes = []  # (kind, name, whether what follows is public)
    position, start, depth, length = 0, None, 0, len(code)

    def line_of(offset):
        return code.count("\n", 0, offset) + 1

    def visible():
        return all(scope[2] for scope in scopes)

    def emit(end, ending=""):
        statement = " ".join(code[start:end].split()) + ending
        if statement and visible():
            inside = scopes[-1] if scopes and scopes[-1][0] != "namespace" else None
            found.append((line_of(start), line_of(end), statement, inside))

    def matching_brace(offset):
        level = 0
        while offset < length:
            level += {"{": 1, "}": -1}.get(code[offset], 0)
            if level == 0:
                return offset
            offset += 1
        return length - 1

    while position < length:
        char = code[position]
        if start is None:
            if char.isspace() or char == ";":
                position += 1
                continue
            if char == "}":
                if scopes:
                    scopes.pop()
                position += 1
                continue
            label = re.compile(r"(public|protected|private)\s*:").match(code, position)
            if label and scopes:
                scopes[-1] = (scopes[-1][0], scopes[-1][1], label.group(1) == "public")
                position = label.end()
                continue
            start = position
        if char in "([":
            depth += 1
        elif char in ")]":
            depth -= 1
        elif char == ";" and depth == 0:
            emit(position)
            start = None
        elif char == "{" and depth == 0:
            head = " ".join(code[start:position].split())
            kind = SCOPE.match(head)
            if re.match(r"(inline )?namespace\b", head):
                scopes.append(("namespace", "", True))
                start = None
            elif kind and "(" not in re.sub(r"\b(alignas|__attribute__)\s*\(\(?[^)]*\)?\)", "", head):
                emit(position, " {")
                if kind.group(1) == "enum":
                    position = matching_brace(position)
                    start = None
                else:
                    name = re.sub(r"\s*(final\s*)?(:[^:].*)?$", "", head, flags=re.S).split()[-1]
                    scopes.append((kind.group(1), name, kind.group(1) != "class"))
                    start = None
            else:
                end = matching_brace(position)
                rest = code[end + 1:].lstrip()[:1]
                if "(" in head and rest not in (",", "{", ";"):
                    emit(position)
                    start = None
                position = end
        position += 1
    return found


def needs_words(statement, inside):
    """Whether a declaration must be explained: a type, or a function that says something new."""
    if SCOPE.match(statement) and "(" not in statement:
        return "{" in statement or not re.search(r"^(template <.*> )?(class|struct|union|enum)( class)? \w+$", statement)
    if "(" not in statement or re.match(r"(static_assert|using|friend|typedef|extern template)\b", statement):
        return False
    if re.search(r"\boverride\b|=\s*(default|delete)$|\boperator\b", statement):
        return False
    if inside:
        name = re.escape(inside[1].split("<")[0])
        if re.match(rf"(explicit |constexpr |inline |virtual |template <.*> )*~?{name}\s*\(", statement):
            return False
    before = statement.split("(")[0]
    return "=" not in before and not re.search(r"std::function\s*<[^>]*$", before)


def undocumented(text):
    """The public items of a header that nobody explains."""
    lines = text.splitlines()
    bad = []
    documented = {}  # the last line of an item, to whether the item or its group is explained
    for first, last, statement, inside in declarations(text):
        above = lines[first - 2].strip() if first > 1 else ""
        explained = (above.startswith("//") or any("//" in line for line in lines[first - 1:last])
                     or documented.get(first - 1, False))
        end = last
        while end < len(lines) and end < last + 40 and lines[end].strip() and not without_comments(lines[end]).strip():
            end += 1
        documented[last] = documented[end] = explained
        # A body that follows on further lines belongs to the item.
        body = last
        if "{" in lines[last - 1] and not re.search(r"[};]\s*(//.*)?$", lines[last - 1]) and not SCOPE.match(statement):
            indent = re.match(r"\s*", lines[first - 1]).group(0)
            while body < len(lines) and lines[body] != indent + "}":
                body += 1
            documented[body + 1] = explained
        if needs_words(statement, inside) and not explained:
            bad.append((first, statement))
    return bad


def documentation(tree):
    headers = tree.headers()
    bad = []
    for path in headers:
        text = tree.text(path)
        if not text.startswith(f"// {os.path.basename(path)} - "):
            bad.append(f"{path}:1: the first line says what the file owns: // {os.path.basename(path)} - ...")
        for line, statement in undocumented(text):
            bad.append(f"{path}:{line}: nobody explains: {statement[:90]}")
    return bad, len(headers), 30


# --- the header of headers ---------------------------------------------------------------------------------------------

def umbrella(tree):
    """One include brings a host everything that is installed."""
    headers = tree.headers()
    brought = reach(tree, UMBRELLA)
    return [f"{UMBRELLA}: does not bring {path}" for path in headers if path not in brought], len(headers), 30


# --- headers stand alone ----------------------------------------------------------------------------------------------

def reach(tree, path, seen=None):
    """The header and every header of the project that it includes, however far away."""
    seen = set() if seen is None else seen
    if path not in seen and tree.has(path):
        seen.add(path)
        for _, included in includes(tree.text(path)):
            reach(tree, "Frameworks/" + included, seen)
    return seen


def headers(tree, compiler="g++", cache=None):
    """Every header that this system can build compiles alone. One that passed is not compiled again until it or
    something that it includes changes."""
    files = [p for p in tree.below("Frameworks", endings=".h") if not re.search(r"/darwin/(?!decode/)", p)]
    command = compiler.split() + ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-x", "c++",
                                  "-I", os.path.join(tree.root, "Frameworks"), "-"]
    version = subprocess.run(compiler.split() + ["--version"], capture_output=True, text=True, check=True).stdout

    def check(path):
        digest = hashlib.sha256("\0".join(command + [version, path]).encode())
        for part in sorted(reach(tree, path)):
            digest.update(f"\0{part}\0{tree.text(part)}".encode())
        passed = cache and os.path.join(cache, digest.hexdigest())
        if passed and os.path.exists(passed):
            return None
        include = path[len("Frameworks/"):]
        run = subprocess.run(command, input=f'#include "{include}"\n#include "{include}"\n', capture_output=True, text=True)
        if run.returncode != 0:
            return f"{path}: does not compile alone:\n{run.stderr}"
        if passed:
            os.makedirs(cache, exist_ok=True)
            open(passed, "w").close()
        return None

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        bad = [message for message in pool.map(check, files) if message]
    return bad, len(files), 50


# --- words ------------------------------------------------------------------------------------------------------------

WORDS = [
    (r"\bPart [0-9]\.[0-9]", "a chapter number"),
    (r"\bthe\s+spec(?:ification)?\b", "a design document"),
    (r"\bspec\.md\b", "a design document"),
    (r"\bissue #?[0-9]+", "an issue's number"),
    (r"(?<![\w.$}])/(?:wor[k]|roo[t])/\w", "a place on somebody's machine"),
]


def words(tree):
    """Nothing points at what a reader of the tree cannot see."""
    files = [p for p in tree.paths if not re.search(r"\.(png|bin|gz|xz)$", p) and not p.startswith("Fuzz/corpus/")]
    bad = []
    for path in files:
        for number, line in enumerate(tree.text(path).splitlines(), 1):
            for pattern, meaning in WORDS:
                if re.search(pattern, line, re.I if pattern.startswith(r"\bthe") else 0):
                    bad.append(f"{path}:{number}: names {meaning}: {line.strip()[:90]}")
    return bad, len(files), 100


# --- symbols ----------------------------------------------------------------------------------------------------------

def foreign_symbols(listing):
    """The lines of `nm -C` that are no part of namespace hvk."""
    ours = re.compile(r"^(?:(?:vtable|typeinfo|typeinfo name|VTT|construction vtable|guard variable) for "
                      r"|(?:non-virtual|virtual) thunk to |(?:covariant return thunk to ))?hvk::")
    names = [line.split(" ", 2)[2] for line in listing.splitlines() if len(line.split(" ", 2)) == 3]
    return [name for name in names if not ours.match(name)], len(names)


def symbols(tree, library=None):
    """The shared library offers what belongs to namespace hvk and nothing else."""
    listing = subprocess.run(["nm", "-D", "-C", "--defined-only", library], capture_output=True, text=True, check=True)
    bad, count = foreign_symbols(listing.stdout)
    return [f"{library}: exports {name}" for name in bad], count, 200


RULES = {rule.__name__: rule for rule in (layers, systems, names, documentation, umbrella, headers, words, symbols)}


def main():
    parser = argparse.ArgumentParser(description="Checks one rule of the house.")
    parser.add_argument("rule", choices=sorted(RULES))
    parser.add_argument("--root", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
    parser.add_argument("--cache")
    parser.add_argument("--compiler", default="g++")
    parser.add_argument("--library")
    arguments = parser.parse_args()
    tree = Tree(os.path.abspath(arguments.root))
    extra = {"headers": {"compiler": arguments.compiler, "cache": arguments.cache},
             "symbols": {"library": arguments.library}}.get(arguments.rule, {})
    bad, looked_at, least = RULES[arguments.rule](tree, **extra)
    for violation in bad:
        print(violation)
    print(f"{arguments.rule}: {looked_at} looked at, {len(bad)} against the rule")
    if looked_at < least:
        print(f"{arguments.rule}: that is too few; at least {least} are in the tree")
    return 1 if bad or looked_at < least else 0


if __name__ == "__main__":
    sys.exit(main())
