#!/usr/bin/env python3
"""The tools for Lua sources and definitions: ztlpp, ztluac, ztmkmtd."""

import unittest

from world import World


class Preprocessor(World):
    """ztlpp"""

    def preprocess(self, source, *options):
        """The preprocessed text of a source."""
        self.write("in.lua", source)
        self.tool("ztlpp", *options, "--out", "out.lui", "--root", ".", "--", "in.lua")
        return self.without_note("out.lui", "in.lua")

    def without_note(self, file, source):
        """A preprocessed text without the comment at its end that names the source."""
        text, note = self.read(file), f" --ztlpp: {source}"
        self.assertTrue(text.endswith(note), text)
        return text.removesuffix(note)

    def check_byte_code(self, source, *options):
        """Checks that preprocessing changes nothing for the compiler, debug information included;
        gives the preprocessed text."""
        text = self.preprocess(source, *options)
        self.tool("ztluac", "-o", "out.luo", "--", "out.lui")
        result = self.run_command("luac5.1", "-o", "plain.luo", "--", "in.lua")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual((self.dir / "out.luo").read_bytes(),
                         (self.dir / "plain.luo").read_bytes())
        return text

    def complaint(self, source):
        """What is said about a bad source."""
        self.write("in.lua", source)
        return self.failing_tool("ztlpp", "--out", "out.lui", "--root", ".", "--", "in.lua")

    def test_source_without_directives_is_unchanged(self):
        source = ("#!/usr/bin/lua\n--[==[ a ]] b ]==] local  x = #t .. 'it\\'s' .. [[\n--]] \r\n"
                  '\ty = "\\"--"')
        self.assertEqual(self.preprocess(source), source.replace("\r\n", "\n"))

    def test_strip_removes_comments_and_keeps_lines(self):
        source = 'a = 1 -- one\n--[[ two\n three ]] b = "--" -- \n-- end\nc = [==[ --]] ]==]\n'
        self.assertEqual(self.preprocess(source, "--strip"),
                         'a = 1  \n \n b = "--"  \n \nc = [==[ --]] ]==]\n')

    def test_strip_keeps_words_apart(self):
        self.assertEqual(self.preprocess("return--[[]]x", "--strip"), "return x")

    def test_strip_removes_the_shebang(self):
        self.assertEqual(self.preprocess("#!/usr/bin/lua\nx = 1\n", "--strip", "--trim"),
                         "\nx = 1\n")

    def test_trim_collapses_blanks_outside_strings(self):
        source = "  a \t =  'x  y'  \n\n\tb = [[  z\n  ]]   \n"
        self.assertEqual(self.preprocess(source, "--trim"), "a = 'x  y'\n\nb = [[  z\n  ]]\n")

    def test_trim_keeps_comments(self):
        self.assertEqual(self.preprocess("a  = 1   --  two  blanks\n", "--trim"),
                         "a = 1 --  two  blanks\n")

    def test_macro_replaces_whole_identifiers_outside_strings_and_comments(self):
        source = '#define N 42 -- answer\nx = N + NN + t.N + 1e5 .. "N" .. [[N]] -- N\n'
        self.assertEqual(self.preprocess(source),
                         '\nx = 42 + NN + t. 42 + 1e5 .. "N" .. [[N]] -- N\n')

    def test_macro_may_use_macros_and_be_empty(self):
        source = "#define A (B + B)\n#define B 2\n#define NOTHING\nx = A NOTHING\n"
        self.assertEqual(self.preprocess(source), "\n\n\nx = (2 + 2) \n")

    def test_macro_is_not_replaced_within_itself(self):
        self.assertEqual(self.preprocess("#define a b + a\nx = a\n"), "\nx = b + a\n")

    def test_number_ends_where_lua_ends_it(self):
        source = "#define N 5\nreturn 0xFE+N, 0xe-N, 1e+5+N, 3E-N2, 0x1E+N, .5e1-N, 5 ..N\n"
        self.assertEqual(self.preprocess(source),
                         "\nreturn 0xFE+5, 0xe-5, 1e+5+5, 3E-N2, 0x1E+5, .5e1-5, 5 ..5\n")

    def test_expanded_macro_does_not_grow_together_with_its_neighbours(self):
        source = ("#define N -1\n#define F 4\n#define NONE\n#define OPEN [\n#define C a--[[x]]b\n"
                  "x=-N y=\"a\"..F..\"b\" z=-NONE-1 t=OPEN[1]] u=C\n")
        self.assertEqual(self.preprocess(source).splitlines()[-1],
                         'x=- -1 y="a"..4 .."b" z=- -1 t=[ [1]] u=a b')

    def test_line_ends_of_all_kinds_keep_their_number(self):
        for end in "\n", "\r", "\r\n", "\n\r":
            first = "#anything" + ("\n" if end == "\r" else end)  # a first line ends at LF alone
            source = first + end.join([
                "local a  = 1 -- one", "  --[[ two", "", "three ]] local b = 2", "",
                "local c = [[", "four", "]] .. 'five\\", "six' -- seven", "error('eight')"])
            for options in [], ["--strip"], ["--trim"], ["--strip", "--trim"]:
                with self.subTest(end=end, options=options):
                    self.check_byte_code(source, *options)

    def test_line_end_left_by_a_comment_does_not_pair_with_the_next(self):
        for source in ("--[[\r]]\nerror()", "--[[\n]]\rerror()", "--[[\r\n]]\rerror()"):
            with self.subTest(source):
                self.assertEqual(self.check_byte_code(source, "--strip", "--trim"), "\n\nerror()")

    def test_any_first_line_with_a_hash_is_passed_over(self):
        for first in "#!/usr/bin/lua", "# x = ' [[", "#", "#\r--", "#!x\n\r":
            for rest in "", "\nerror('two')\n":
                for options in [], ["--strip", "--trim"]:
                    with self.subTest(first=first, rest=rest, options=options):
                        self.check_byte_code(first + rest, *options)

    def test_length_operator_that_comes_to_the_start_is_no_first_line(self):
        self.assertEqual(self.preprocess(" --[[]]#t\n", "--strip", "--trim"), " #t\n")

    def test_operator_at_the_very_end_is_still_an_error(self):
        self.preprocess("x = 1 -")
        self.assertIn("in.lua:1: unexpected symbol",
                      self.failing_tool("ztluac", "-o", "out.luo", "--", "out.lui"))

    def test_macro_holds_from_its_line_on(self):
        self.assertEqual(self.preprocess("x = N\n#define N 1\nx = N\n"), "x = N\n\nx = 1\n")

    def test_length_operator_at_line_start_is_no_directive(self):
        self.assertEqual(self.preprocess("n =\n#items\n"), "n =\n#items\n")

    def test_directive_in_a_long_string_is_text(self):
        source = "x = [[\n#define N 1\n]] .. N\n"
        self.assertEqual(self.preprocess(source), source)

    def test_include_looks_in_the_directories_and_then_below_the_root(self):
        self.write("one/a.lh", "#define A 1\n")
        self.write("two/a.lh", "#define A 2\n")
        self.write("two/b.lh", "#define B 2\n")
        self.write("b.lh", "#define B 3\n")
        self.write("c.lh", "#define C 3\n")
        source = '#include "a.lh"\n#include "b.lh"\n#include "c.lh"\nreturn A, B, C\n'
        self.assertEqual(self.preprocess(source, "-I", "one", "-I", "two"),
                         "\n\n\nreturn 1, 2, 3\n")

    def test_root_may_be_a_single_source(self):
        self.write("lib/a.lh", "#define A 1\n")
        self.write("lib/in.lua", '#include "a.lh"\nreturn A\n')
        self.tool("ztlpp", "--out", "out.lui", "--root", "lib/in.lua", "--", "lib/in.lua")
        self.assertEqual(self.without_note("out.lui", "lib/in.lua"), "\nreturn 1\n")

    def test_included_code_stays_on_one_line(self):
        self.write("a.lh", "local a = 1 -- one\nlocal b = 2\n")
        text = self.preprocess('#include "a.lh"\nreturn a + b\n', "--trim")
        self.assertEqual(text, "local a = 1 local b = 2\nreturn a + b\n")

    def test_the_same_header_may_be_included_twice(self):
        self.write("a.lh", "#define A 1\n")
        self.assertEqual(self.preprocess('#include "a.lh"\n#include "a.lh"\nA\n'), "\n\n1\n")

    def test_include_cycle_is_reported(self):
        self.write("a.lh", '\n#include "b.lh"\n')
        self.write("b.lh", '#include "a.lh"\n')
        self.assertEqual(self.complaint('#include "a.lh"\n'), './b.lh:1: "a.lh" includes itself\n')

    def test_source_that_includes_itself_is_reported(self):
        self.assertEqual(self.complaint('x = 1\n#include "in.lua"\n'),
                         'in.lua:2: "in.lua" includes itself\n')

    def test_errors_name_file_and_line(self):
        for source, text in [
            ('x = 1\n#include "none.lh"\n', 'in.lua:2: cannot find "none.lh"\n'),
            ("#include none.lh\n", "in.lua:1: malformed directive: #include none.lh\n"),
            ("#define 1 2\n", "in.lua:1: malformed directive: #define 1 2\n"),
            ("#define N 1\n\n#define N 2\n", "in.lua:3: N is already defined as something else\n"),
            ("\n#define N 'x\n", "in.lua:2: unterminated string\n"),
            ("\nx = 'y\n", "in.lua:2: unterminated string\n"),
            ("\n\nx = [=[y]]\n", "in.lua:3: unterminated long string\n"),
            ("x = 1 --[[ y\n\n", "in.lua:1: unterminated long comment\n"),
            ("x = 1 --[[ y [[ ]]\n", "in.lua:1: nesting of [[...]] is deprecated\n"),
            ("x = {[=1]}\n", "in.lua:1: invalid long string delimiter\n"),
            ("a\rb\n\rc\r\nx = 'y\\\r\n\n", "in.lua:4: unterminated string\n"),
        ]:
            with self.subTest(source):
                self.assertEqual(self.complaint(source), text)

    def test_bytes_that_are_not_utf8_survive(self):
        self.write("in.lua", b"x = '\xff\xfe'\n")
        self.tool("ztlpp", "--out", "out.lui", "--root", ".", "--", "in.lua")
        self.assertEqual((self.dir / "out.lui").read_bytes(),
                         b"x = '\xff\xfe'\n --ztlpp: in.lua")

    def test_missing_source_is_reported(self):
        self.assertEqual(self.failing_tool("ztlpp", "--out", "o", "--root", ".", "--", "none.lua"),
                         "ztlpp: none.lua: No such file or directory\n")

    def test_failure_leaves_an_earlier_output_alone(self):
        self.preprocess("x = 1\n")
        self.complaint("x = '\n")
        self.assertEqual(self.without_note("out.lui", "in.lua"), "x = 1\n")

    def test_arguments_may_stand_in_a_file(self):
        self.write("my in.lua", "x  = 1\n")
        self.write("args", "--trim\n--out\nout.lui\n--root\n.\n--\nmy in.lua\n")
        self.tool("ztlpp", "@args")
        self.assertEqual(self.without_note("out.lui", "my in.lua"), "x = 1\n")


class Compiler(World):
    """ztluac"""

    def test_byte_code_runs(self):
        self.write("in.lua", "print(6 * 7)\n")
        self.tool("ztluac", "-o", "out.luo", "--", "in.lua")
        self.assertEqual((self.dir / "out.luo").read_bytes()[:4], b"\x1bLua")
        self.assertEqual(self.run_command("lua5.1", "out.luo").stdout, "42\n")

    def test_strip_leaves_out_names(self):
        self.write("in.lua", "local conspicuous = 1\nreturn conspicuous\n")
        self.tool("ztluac", "-o", "full.luo", "--", "in.lua")
        self.tool("ztluac", "-s", "-o", "stripped.luo", "--", "in.lua")
        self.assertIn(b"conspicuous", (self.dir / "full.luo").read_bytes())
        self.assertNotIn(b"conspicuous", (self.dir / "stripped.luo").read_bytes())

    def test_syntax_error_names_file_and_line(self):
        self.write("in.lua", "x = 1\nx = = 2\n")
        self.assertEqual(self.failing_tool("ztluac", "-o", "out.luo", "--", "in.lua"),
                         "in.lua:2: unexpected symbol near '='\n")

    def test_error_in_a_preprocessed_source_names_the_source_whole(self):
        path = "root/" + "usr/lib/lua/" * 8 + "a 'name' [string].lua"
        self.write(path, "#!x\n-- one\nx = = 2\n")
        self.tool("ztlpp", "--strip", "--out", "obj/a.lui", "--root", "root", "--", path)
        self.assertEqual(self.failing_tool("ztluac", "-o", "obj/a.luo", "--", "obj/a.lui"),
                         f"{path}:3: unexpected symbol near '='\n")

    def test_byte_code_bears_the_name_of_the_source(self):
        self.write("root/in.lua", "return 1 -- one\n")
        self.tool("ztlpp", "--out", "in.lui", "--root", "root", "--", "root/in.lua")
        self.tool("ztluac", "-o", "in.luo", "--", "in.lui")
        self.tool("ztluac", "-o", "plain.luo", "--", "root/in.lua")
        self.assertEqual((self.dir / "in.luo").read_bytes(),
                         (self.dir / "plain.luo").read_bytes())
        self.assertIn(b"@root/in.lua\0", (self.dir / "in.luo").read_bytes())

    def test_name_that_does_not_fit_on_a_line_is_not_noted(self):
        self.write("in\n.lua", "return 1")
        self.tool("ztlpp", "--out", "out.lui", "--root", ".", "--", "in\n.lua")
        self.assertEqual(self.read("out.lui"), "return 1")

    def test_strip_makes_what_luac_makes(self):
        self.write("in.lua", "local up, t = 1, {nil, true, -2.5, 'a\\0b'}\n"
                   "return function(a, ...) local b = a return up, b, function() return t end end\n")
        self.tool("ztluac", "-s", "-o", "out.luo", "--", "in.lua")
        self.run_command("luac5.1", "-s", "-o", "plain.luo", "in.lua")
        self.assertEqual((self.dir / "out.luo").read_bytes(),
                         (self.dir / "plain.luo").read_bytes())

    def test_missing_source_is_reported(self):
        self.assertEqual(self.failing_tool("ztluac", "-o", "out.luo", "--", "none.lua"),
                         "ztluac: none.lua: No such file or directory\n")

    def test_arguments_may_stand_in_a_file(self):
        self.write("in.lua", "return 1\n")
        self.write("args", "-s\n-o\nout.luo\n--\nin.lua\n")
        self.tool("ztluac", "@args")
        self.assertIn("out.luo", self.files())

    def test_names_in_an_argument_file_need_not_be_utf8(self):
        self.write("in.lua", "return 1\n")
        self.write("args", b"-o\nout\xff\n--\nin.lua\n")
        self.tool("ztluac", "@args")
        self.assertIn("out\udcff", self.files())


class Definitions(World):
    """ztmkmtd"""

    DEFINITION = "# sample\n\n0x0100 SPEED u16 0.1 km/h # fast\n7 NAME string\n"

    def test_header_defines_the_numbers(self):
        self.write("a.mtdef", self.DEFINITION)
        self.tool("ztmkmtd", "--header", "deep/er/a.lh", "a.mtdef")
        lines = self.read("deep/er/a.lh").splitlines()
        self.assertEqual(lines[1:], ["#define MTD16_NAME 7", "#define MTD16_SPEED 256"])
        self.assertEqual(self.files(), ["a.mtdef", "deep/er/a.lh"])

    def test_module_finds_entries_by_name_and_number(self):
        self.write("a.mtdef", self.DEFINITION)
        self.tool("ztmkmtd", "--lua", "a.lua", "a.mtdef")
        self.write("use.lua", "local m = dofile('a.lua')\nlocal e = m.SPEED\n"
                   "print(e.id, e.name, e.type, e.unit, m[256] == e, m[7].type)\n")
        self.assertEqual(self.run_command("lua5.1", "use.lua").stdout,
                         "256\tSPEED\tu16\t0.1 km/h\ttrue\tstring\n")

    def test_both_outputs_at_once_are_the_same_each_time(self):
        self.write("a.mtdef", self.DEFINITION)
        outputs = []
        for _ in range(2):
            self.tool("ztmkmtd", "--header", "a.lh", "--lua", "a.lua", "a.mtdef")
            outputs.append((self.read("a.lh"), self.read("a.lua")))
        self.assertEqual(outputs[0], outputs[1])

    def test_errors_name_file_and_line(self):
        for definition, text in [
            ("1 A u8\n1 B u8\n", "a.mtdef:2: number 1 already names A\n"),
            ("1 A u8\n\n2 A u8\n", "a.mtdef:3: A is already defined in line 1\n"),
            ("1 A float\n", 'a.mtdef:1: unknown type "float"\n'),
            ("65536 A u8\n", "a.mtdef:1: number 65536 does not fit into 16 bits\n"),
            ("A u8\n", "a.mtdef:1: expected: number name type [unit]\n"),
            ("1 lower u8\n", "a.mtdef:1: expected: number name type [unit]\n"),
        ]:
            with self.subTest(definition):
                self.write("a.mtdef", definition)
                self.assertEqual(self.failing_tool("ztmkmtd", "--header", "a.lh", "a.mtdef"), text)

    def test_units_are_quoted(self):
        self.write("a.mtdef", '1 A u8 5" \\\n')
        self.tool("ztmkmtd", "--lua", "a.lua", "a.mtdef")
        self.write("use.lua", "print(dofile('a.lua').A.unit)\n")
        self.assertEqual(self.run_command("lua5.1", "use.lua").stdout, '5" \\\n')


if __name__ == "__main__":
    unittest.main()
