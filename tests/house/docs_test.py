#!/usr/bin/env python3
"""Holds the documents to this tree, and shows for each rule that it can fail."""

import ast
import pathlib
import shutil
import sys
import tempfile
import unittest

import docs_rules

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import reference  # its folder is known only now


class ThisTree(unittest.TestCase):
    def check(self, rule):
        complaints = rule(ROOT)
        if complaints:
            self.fail("\n" + "\n".join(complaints))

    def test_what_documents_name_exists(self):
        self.check(docs_rules.what_documents_name_exists)

    def test_what_documents_link_to_exists(self):
        self.check(docs_rules.what_documents_link_to_exists)

    def test_contributors_are_told_of_each_verb(self):
        self.check(docs_rules.contributors_are_told_of_each_verb)

    def test_each_document_is_two_clicks_away(self):
        self.check(docs_rules.each_document_is_two_clicks_away)

    def test_the_readme_answers_each_question(self):
        self.check(docs_rules.the_readme_answers_each_question)

    def test_commands_of_documents_exist(self):
        self.check(docs_rules.commands_of_documents_exist)

    def test_the_changelog_begins_with_the_version(self):
        self.check(docs_rules.the_changelog_begins_with_the_version)

    def test_the_page_on_porting_has_each_platform_source(self):
        self.check(docs_rules.the_page_on_porting_has_each_platform_source)

    def test_counts_of_documents_are_those_of_the_sources(self):
        self.check(docs_rules.counts_of_documents_are_those_of_the_sources)

    def test_limits_are_those_of_the_sources(self):
        self.check(docs_rules.limits_are_those_of_the_sources)

    def test_tests_that_hold_limits_exist(self):
        self.check(docs_rules.tests_that_hold_limits_exist)

    def test_what_is_made_of_the_table_of_functions_is_up_to_date(self):
        self.check(reference.stale)

    def test_the_stub_file_is_python(self):
        stub = (ROOT / "python/vireon/__init__.pyi").read_text(encoding="utf-8")
        self.assertTrue(ast.parse(stub).body)

    def test_the_page_on_style_is_one_page(self):
        self.assertLessEqual(len((ROOT / "docs/style.md").read_text(encoding="utf-8").splitlines()), 100)


class BadTree(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        docs_rules.house_rules.subprocess.run(["git", "init", "--quiet", self.root], check=True)
        self.write("README.md")
        self.write("src/core/list.h", "class List { void Append(); };\nconstexpr int kLimit = 65536;\n")
        self.write("src/core/posix/time.cpp")
        self.write("dev", "    build) ;;\n")

    def write(self, path, text=""):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def expect(self, rule, *complaints, arguments=()):
        found = rule(self.root, *arguments)
        self.assertEqual(len(complaints), len(found), found)
        for expected, complaint in zip(complaints, found):
            self.assertIn(expected, complaint)

    def test_names_that_are_there(self):
        self.write(
            "docs/page.md",
            "`core/list`, `core/list.h`, `src/core/`, `<folder>/posix/`, `list.h`, `page.md`, `posix/`, "
            "`core/<platform>/time`, `build/dev/x.so`, `List::Append`, `List`, `Append()`, `a b`, `-x`\n",
        )
        self.expect(docs_rules.what_documents_name_exists)

    def test_a_file_that_is_not_there(self):
        for name in ("core/lists.h", "core/map", "core/<platform>/event", "gone.py", "src/net/", "win32/"):
            self.write("docs/page.md", f"see `{name}`\n")
            self.expect(docs_rules.what_documents_name_exists, f"docs/page.md: `{name}`")

    def test_a_declaration_that_is_not_there(self):
        for name in ("List::Prepend", "Map", "kLimits", "Remove()"):
            self.write("README.md", f"see `{name}`\n\n    `Code`\n\n```\n`Fenced`\n```\n")
            self.expect(docs_rules.what_documents_name_exists, f"README.md: `{name}`")

    def test_a_name_from_elsewhere_is_listed(self):
        self.write("README.md", "`CreateThread`\n")
        self.write(docs_rules.FOREIGN, "CreateThread: the system's\nCreateEvent: the system's\n")
        self.expect(docs_rules.what_documents_name_exists, "lists CreateEvent for nothing")

    def test_a_link_to_nothing(self):
        self.write(
            "docs/page.md", "[one](../README.md), [another](gone.md), [elsewhere](https://example.invalid)\n"
        )
        self.expect(docs_rules.what_documents_link_to_exists, "links to gone.md")

    def test_a_link_to_a_heading(self):
        self.write(
            "docs/page.md", "# Who, and when\n\n[here](#who-and-when), [there](page.md#who-and-when)\n"
        )
        self.expect(docs_rules.what_documents_link_to_exists)
        self.write("docs/page.md", "# Who\n\n[here](#when), [there](../README.md#who)\n")
        self.expect(docs_rules.what_documents_link_to_exists, "links to when", "links to who")

    def test_a_verb_that_contributors_are_not_told_of(self):
        self.write("dev", "    build) ;;\n    clean) ;;\n")
        self.write(
            docs_rules.CONTRIBUTING, "| `./dev build [PRESET...]` | builds |\n| `./dev clean` | cleans |\n"
        )
        self.expect(docs_rules.contributors_are_told_of_each_verb)
        self.write(docs_rules.CONTRIBUTING, "| `./dev build [PRESET...]` | builds |\n")
        self.expect(docs_rules.contributors_are_told_of_each_verb, "nothing of ./dev clean")

    def test_a_document_that_is_three_clicks_away(self):
        self.write("README.md", "[one](docs/one.md#x)\n")
        self.write("docs/one.md", "# x\n\n[two](two.md), [back](../README.md)\n")
        self.write("docs/two.md")
        self.expect(docs_rules.each_document_is_two_clicks_away)
        self.write("docs/two.md", "[three](three.md)\n")
        self.write("docs/three.md")
        self.expect(docs_rules.each_document_is_two_clicks_away, "docs/three.md is too far")

    def test_a_question_without_an_answer(self):
        rows = [f"| {question} | [here](docs/page.md) |" for question in docs_rules.QUESTIONS]
        self.write("README.md", "\n".join(rows))
        self.expect(docs_rules.the_readme_answers_each_question)
        self.write(
            "README.md", "\n".join(["| Is it safe? | yes |"] + [row for row in rows if "safe" not in row])
        )
        self.expect(docs_rules.the_readme_answers_each_question, "Is it safe?")

    def test_a_command_that_is_not_there(self):
        self.write("README.md", "`./dev build`, `./dev bild`\n\n    src/core/list.h && tests/run.sh\n")
        self.expect(docs_rules.commands_of_documents_exist, "no verb bild", "tests/run.sh is not there")

    def test_a_container_that_is_set_up_by_no_verb(self):
        self.write(docs_rules.CONTAINER, '{ "postCreateCommand": "./dev build" }\n')
        self.expect(docs_rules.commands_of_documents_exist)
        self.write(docs_rules.CONTAINER, '{ "postCreateCommand": "./dev bild" }\n')
        self.expect(docs_rules.commands_of_documents_exist, "no verb bild")

    def test_a_changelog_that_begins_with_another_version(self):
        self.write("CMakeLists.txt", "project(vireon VERSION 1.2.0 LANGUAGES CXX)\n")
        self.write(docs_rules.CHANGELOG, "# Changelog\n\n## 1.2.0 - unreleased\n\n## 1.1.0\n")
        self.expect(docs_rules.the_changelog_begins_with_the_version)
        for text, name in (("## 1.1.0\n\n## 1.2.0\n", "1.1.0"), ("# Changelog\n", "nothing")):
            self.write(docs_rules.CHANGELOG, text)
            self.expect(docs_rules.the_changelog_begins_with_the_version, f"begins with {name}")

    def test_a_platform_source_that_the_page_on_porting_leaves_out(self):
        self.write("src/core/win32/time.cpp")
        self.write("src/core/posix/time_test.cpp")
        self.write("src/core/posix/fork.cpp")
        self.write(docs_rules.house_rules.ONE_PLATFORM, "src/core/posix/fork.cpp: no forks elsewhere\n")
        self.write(docs_rules.PORTING, "| source |\n|---|\n| `core/<platform>/time` |\n")
        self.expect(docs_rules.the_page_on_porting_has_each_platform_source)
        self.write("src/net/win32/socket.cpp")
        self.expect(
            docs_rules.the_page_on_porting_has_each_platform_source, "leaves out net/<platform>/socket"
        )

    def test_a_count_that_is_another(self):
        count = docs_rules.Count("README.md", r"at most ([\d,]+)", "src/core/list.h", r"kLimit = (\d+);")
        rows = count._replace(source="dev", declaration=r"build|clean")
        for text, count, *complaints in (
            ("at most 65,536", count),
            ("at most 65,535", count, "says 65,535"),
            ("many", count, "says 0 times"),
            ("at most 1", rows),
            ("at most 2", rows, "says 2"),
        ):
            self.write("README.md", text)
            self.expect(
                docs_rules.counts_of_documents_are_those_of_the_sources, *complaints, arguments=([count],)
            )

    def write_limits(self, *rows):
        self.write(docs_rules.LIMITS, "\n".join(("| limit | value |", "|---|---|", *rows, "")))

    def test_limits_that_are_those_of_the_sources(self):
        self.write(
            "src/core/wait.cpp",
            "constexpr Timeout kPause = 150;  // milliseconds\n"
            "    static constexpr std::size_t kMaxSize = 4 * 1024;\n"
            "constexpr NPT_UInt32 kMaxLength = 0x7FFFFFFF;\n"
            "constexpr std::size_t kLargestText = 1 << 20;\n"
            "constexpr std::chrono::milliseconds kLookInterval(1);\n"
            "constexpr double kShare = 0.001;\n"
            "constexpr std::size_t kMaxBytes = (kMaxSize - 2) / 2;\n",
        )
        self.write("src/core/testing/fast.h", "constexpr int kMaxHere = 1;\n")
        self.write_limits(
            "| Items | 65,536 | `kLimit` | `core/list.h` | `List.Ends` |",
            "| A pause | 150 ms | `kPause` | `core/wait.cpp` | `Wait.Ends`, `test_wait` |",
            "| A size | 4,096 bytes | `kMaxSize` | `core/wait.cpp` | `Wait.Ends` |",
            "| A length | 2,147,483,647 | `kMaxLength` | `core/wait.cpp` | `Wait.Ends` |",
            "| A text | 1,048,576 characters | `kLargestText` | `core/wait.cpp` | `Wait.Ends` |",
            "| A look | 1 ms | `kLookInterval` | `core/wait.cpp` | `test_wait` |",
            "| A share | 0.001 | `kShare` | `core/wait.cpp` | `test_wait` |",
        )
        self.expect(docs_rules.limits_are_those_of_the_sources)

    def test_a_limit_that_is_another(self):
        self.write("src/core/wait.cpp")
        for row, *complaints in (
            ("| Items | 65,535 | `kLimit` | `core/list.h` | `List.Ends` |", "says 65,535"),
            ("| Items | 65,536 | `kLimit` | `core/list.h` | a test |", "no test holds kLimit"),
            ("| Items | many | `kLimit` | `core/list.h` | `List.Ends` |", "is no row", "leaves out kLimit"),
            ("| Items | 65,536 | `kLimit` | `core/wait.cpp` | `List.Ends` |", "has no kLimit", "leaves out"),
        ):
            self.write_limits(row)
            self.expect(docs_rules.limits_are_those_of_the_sources, *complaints)

    def test_a_reference_that_is_not_as_the_table_has_it(self):
        self.write("python/vireon/table.py")
        shutil.copy(ROOT / "python/vireon/table.py", self.root / "python/vireon/table.py")
        for path, text in reference.made(self.root).items():
            self.write(path, text)
        self.expect(reference.stale)
        self.write("docs/reference.md", "# The functions\n")
        self.expect(reference.stale, "docs/reference.md")

    def test_a_test_of_a_limit_that_is_not_there(self):
        self.write("src/core/list_test.cpp", "TEST(List, Ends) {}\nTEST_F(List,\n       Goes) {}\n")
        self.write("tests/script/test_list.py", "class L:\n    def test_end(self):\n        pass\n")
        self.write(docs_rules.LIMITS, "`List.Ends`, `List.Goes`, `test_end`, `List.Stays`, `test_start`\n")
        self.expect(docs_rules.tests_that_hold_limits_exist, "List.Stays", "test_start")


if __name__ == "__main__":
    unittest.main()
