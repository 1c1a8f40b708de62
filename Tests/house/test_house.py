#!/usr/bin/env python3
"""Shows each rule of house.py a small tree that keeps it and one that breaks it."""

import os
import tempfile
import unittest

import house

GOOD = {
    "Frameworks/HVKStatisticsKit.h": '// HVKStatisticsKit.h - all.\n#pragma once\n#include "HVKStatistics/core/Thing.h"\n',
    "Frameworks/HVKPlatform/ports/Load.h": "// Load.h - the load.\n#pragma once\nnamespace hvk {\n}\n",
    "Frameworks/HVKPlatform/linux/Load.h": '#pragma once\n#include "HVKPlatform/ports/Load.h"\nnamespace hvk {\n}\n',
    "Frameworks/HVKPlatform/linux/Load.cpp": "#ifdef __linux__\nnamespace hvk {\n}\n#endif\n",
    "Frameworks/HVKPlatform/recorded/Load.h": "#pragma once\nnamespace hvk {\n}\n",
    "Frameworks/HVKStatistics/core/Thing.h": """// Thing.h - a thing.
#pragma once
#include "HVKPlatform/ports/Load.h"

namespace hvk {

class Other;

/// A reading.
struct ThingSample {
    double time = 0;
};

/// A thing.
class HVK_EXPORT Thing : public Base {
public:
    explicit Thing(int size = 0) : size_(size), list_{1, 2} {}
    ~Thing() override;
    Thing& operator=(const Thing&) = delete;

    /// The sizes.
    int size() const { return size_; }
    void setSize(int size) {
        if (size > 0) {
            size_ = size;
        }
    }

    int width() const;  ///< how wide

    void update() override;
    std::function<void(int)> onChange;

private:
    int hidden() const;
    int size_ = 0;
};

}  // namespace hvk
""",
    "Frameworks/HVKStatistics/core/Thing.cpp": '#include "HVKStatistics/core/Thing.h"\nnamespace hvk {\n}\n',
}


class Rules(unittest.TestCase):
    def tree(self, changes=None):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for path, text in {**GOOD, **(changes or {})}.items():
            if text is None:
                continue
            place = os.path.join(folder.name, path)
            os.makedirs(os.path.dirname(place), exist_ok=True)
            with open(place, "w", encoding="utf-8") as file:
                file.write(text)
        return house.Tree(folder.name)

    def keeps(self, rule, changes=None):
        self.assertEqual(rule(self.tree(changes))[0], [])

    def breaks(self, rule, path, text, said):
        bad = rule(self.tree({path: text}))[0]
        self.assertEqual(len(bad), 1, bad)
        self.assertIn(said, bad[0])

    def thing(self, old, new):
        path = "Frameworks/HVKStatistics/core/Thing.h"
        self.assertEqual(GOOD[path].count(old), 1)
        return path, GOOD[path].replace(old, new)

    def test_the_good_tree_keeps_every_rule(self):
        for rule in (house.layers, house.systems, house.names, house.documentation, house.umbrella, house.words):
            self.keeps(rule)

    def test_a_tree_that_is_too_small_is_not_the_real_one(self):
        for rule in (house.layers, house.systems, house.names, house.documentation, house.umbrella, house.words):
            _, looked_at, least = rule(self.tree())
            self.assertGreater(looked_at, 0)
            self.assertLess(looked_at, least)

    def test_layers(self):
        for place, included in (
                ("HVKStatistics/core/Thing.cpp", "HVKPlatform/linux/Load.h"),
                ("HVKStatistics/core/Thing.cpp", "HVKPlatform/recorded/Load.h"),
                ("HVKPlatform/ports/Load.h", "HVKPlatform/Machine.h"),
                ("HVKPlatform/linux/Load.cpp", "HVKStatistics/core/Thing.h"),
                ("HVKPlatform/linux/Load.cpp", "HVKPlatform/recorded/Load.h"),
                ("HVKPlatform/linux/parse/Load.cpp", "HVKPlatform/linux/Load.h"),
                ("HVKPlatform/darwin/decode/Load.cpp", "HVKPlatform/linux/parse/Load.h"),
                ("HVKLogger/DDLog.h", "HVKPlatform/Result.h"),
                ("HVKBase/Export.h", "HVKLogger/DDLog.h")):
            self.breaks(house.layers, "Frameworks/" + place, f'#include "{included}"\n', f"may not include {included}")
        self.breaks(house.layers, "Frameworks/HVKPlatform/linux/Load.cpp", '#include "Load.h"\n', "not named from")
        self.breaks(house.layers, "Frameworks/Elsewhere/Load.cpp", "", "belongs to no layer")

    def test_systems(self):
        self.breaks(house.systems, "Frameworks/HVKStatistics/core/Thing.cpp", "\n#  if defined(__APPLE__)\n", ":2: asks for")
        self.breaks(house.systems, "Tools/hvkstat/main.cpp", "#ifdef __linux__\n", "__linux__")
        self.breaks(house.systems, "Frameworks/HVKPlatform/linux/parse/Load.cpp", "#ifndef __linux__\n", "outside an adapter")
        self.keeps(house.systems, {"Tests/Fine.cpp": "// #if on __linux__ is not for here\n#if defined(__GNUC__)\n"})

    def test_names(self):
        self.breaks(house.names, "Frameworks/HVKStatistics/core/Two.h",
                    "#pragma once\nnamespace hvk {\nclass Two {\n};\nclass Three {\n};\n}\n", "class Three")
        self.breaks(house.names, "Frameworks/HVKStatistics/core/Lost.cpp", "namespace hvk {\n}\n", "no header of its name")
        self.breaks(house.names, "Frameworks/HVKPlatform/linux/Load.cpp", "namespace other {\n}\n", "nothing in namespace")
        self.breaks(house.names, "Frameworks/HVKPlatform/linux/Load.h",
                    "#pragma once\nusing namespace std;\nnamespace hvk {\n}\n", "opens no namespace")
        self.breaks(house.names, "Frameworks/HVKPlatform/linux/Load.h", "namespace hvk {\n}\n", "pragma once")
        bad = house.names(self.tree({"Frameworks/HVKPlatform/ports/Memory.h": "#pragma once\nnamespace hvk {\n}\n"}))[0]
        self.assertEqual(len(bad), 2, "missing from linux and from recorded; an adapter that is not here misses nothing")

    def test_documentation(self):
        for old, new, said in (
                ("// Thing.h - a thing.\n", "// A thing.\n", "the first line"),
                ("/// A reading.\n", "", "struct ThingSample"),
                ("/// A thing.\n", "", "class HVK_EXPORT Thing"),
                ("    int width() const;  ///< how wide", "    int width() const;", "int width() const"),
                ("    void update() override;", "    void update();", "void update()"),
                ("    /// The sizes.\n    int size() const { return size_; }\n",
                 "    /// The sizes.\n    int size() const { return size_; }\n\n", "void setSize(int size)"),
                ("}  // namespace hvk", "enum class Kind { One };\n\n}  // namespace hvk", "enum class Kind"),
                ("}  // namespace hvk", "template <class T>\nT make(T seed = {});\n}  // namespace hvk", "T make")):
            self.breaks(house.documentation, *self.thing(old, new), said)
        path, text = self.thing("}  // namespace hvk", "/// Makes.\nvoid make(\n    int a);\nvoid make();\n}  // namespace hvk")
        self.keeps(house.documentation, {path: text})

    def test_umbrella(self):
        self.breaks(house.umbrella, "Frameworks/HVKLogger/DDLog.h", "", "does not bring Frameworks/HVKLogger/DDLog.h")

    def test_headers(self):
        broken = {"Frameworks/HVKLogger/DDLog.h": "#pragma once\ninline std::string name() { return {}; }\n"}
        good = {p: t for p, t in GOOD.items() if "Thing" in p or "Kit" in p}
        with tempfile.TemporaryDirectory() as cache:
            for _ in range(2):
                bad, _, _ = house.headers(self.tree({**{p: None for p in good}, **broken}), cache=cache)
                self.assertEqual(len(bad), 1, bad)
                self.assertIn("DDLog.h: does not compile alone", bad[0])
            mended = {**broken, "Frameworks/HVKLogger/DDLog.h": "#pragma once\nint name();\n"}
            self.assertEqual(house.headers(self.tree({**{p: None for p in good}, **mended}), cache=cache)[0], [])

    def test_words(self):
        for text in ("// see Part " + "2.1", "// as the " + "specification says", "the " + "Spec", "spec" + ".md",
                     "fixes issue" + " #12", 'open("/wor' + 'k/data")'):
            self.breaks(house.words, "docs/page.md", text + "\n", "names ")
        self.keeps(house.words, {"docs/page.md": "Part 2, a specific issue, inspect.md, /usr/network/x, the specific one\n"})

    def test_symbols(self):
        bad, count = house.foreign_symbols(
            "0000000000001000 T hvk::Machine::current()\n"
            "0000000000001000 V typeinfo for hvk::Machine\n"
            "0000000000001000 W non-virtual thunk to hvk::Machine::clock()\n"
            "0000000000001000 W std::vector<hvk::Machine*>::push_back(hvk::Machine*&&)\n"
            "0000000000001000 W hvkother::f()\n"
            "0000000000001000 V typeinfo for nlohmann::detail::exception\n")
        self.assertEqual(count, 6)
        self.assertEqual([name.split("::")[0] for name in bad], ["std", "hvkother", "typeinfo for nlohmann"])


if __name__ == "__main__":
    unittest.main()
