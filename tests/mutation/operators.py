"""Finds the edits of scripts/mutate in the parsed source: each operator changes one piece of a
function's text into another that compiles and means something else."""

import dataclasses
import json
import re

from clang.cindex import CursorKind, Index, TokenKind

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
CONNECTIVES = {"&&": "||", "||": "&&"}
FUNCTIONS = (CursorKind.CXX_METHOD, CursorKind.FUNCTION_DECL, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR)
CONDITIONS = (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR)
STATEMENTS = (CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR,
              CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.CXX_DELETE_EXPR)


@dataclasses.dataclass(frozen=True)
class Edit:
    file: str
    function: str
    line: int
    begin: int  # bytes of the file
    end: int
    old: str
    new: str

    def key(self):
        """What an edit is found again by: not its place, which every change moves."""
        return self.file, self.function, squeezed(self.old), squeezed(self.new)

    def __str__(self):
        return (f"{self.file}:{self.line} {self.function}: {squeezed(self.old)} "
                f"becomes {squeezed(self.new) or 'nothing'}")


def squeezed(text):
    return re.sub(r"\s+", " ", text).strip()


class Finder:
    def __init__(self, root, file, compile_command):
        self.file = file
        self.path = str(root / file)
        self.source = (root / file).read_bytes()
        words = [word for word in compile_command.split()
                 if word.startswith(("-D", "-I", "-std=")) or word.startswith("/")
                 or word == "-isystem"]
        arguments = [word for word in words if word != self.path and not word.endswith("c++")]
        unit = Index.create().parse(self.path, [*arguments, "-ferror-limit=0"])
        self.edits = {}
        for cursor in unit.cursor.get_children():
            self.enter(cursor)

    def enter(self, cursor):
        """Looks for the functions that are defined in this file."""
        if cursor.location.file is None or cursor.location.file.name != self.path:
            return
        if cursor.kind in FUNCTIONS and cursor.is_definition():
            self.function = cursor.spelling
            self.walk(cursor)
            return
        for child in cursor.get_children():
            self.enter(child)

    def walk(self, cursor):
        children = list(cursor.get_children())
        if cursor.kind in CONDITIONS and children:
            self.replace(children[0], "!({})")
        if cursor.kind == CursorKind.COMPOUND_STMT:
            for child in children:
                if child.kind in STATEMENTS:
                    self.replace(child, "")
        if cursor.kind == CursorKind.BINARY_OPERATOR and len(children) == 2:
            self.swap_operator(cursor, children)
        if cursor.kind == CursorKind.INTEGER_LITERAL:
            self.replace(cursor, "({} + 1)")
        if cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.replace(cursor, "!{}")
        if cursor.kind == CursorKind.STRING_LITERAL:
            self.change_text(cursor)
        if cursor.kind == CursorKind.CALL_EXPR:
            self.swap_arguments(cursor)
        for child in children:
            self.walk(child)

    def text(self, cursor):
        return self.source[cursor.extent.start.offset:cursor.extent.end.offset].decode()

    def add(self, begin, end, new, line):
        old = self.source[begin:end].decode()
        if old and old != new:
            edit = Edit(self.file, self.function, line, begin, end, old, new)
            self.edits[begin, end, new] = edit

    def replace(self, cursor, pattern):
        extent = cursor.extent
        if extent.start.file is None or extent.start.file.name != self.path:
            return  # from a macro or another file
        self.add(extent.start.offset, extent.end.offset, pattern.format(self.text(cursor)),
                 extent.start.line)

    def swap_operator(self, cursor, children):
        begin = children[0].extent.end.offset
        end = children[1].extent.start.offset
        gap = self.source[begin:end].decode()
        operator = gap.strip()
        other = COMPARISONS.get(operator) or CONNECTIVES.get(operator)
        if other:
            at = begin + len(gap) - len(gap.lstrip())
            self.add(at, at + len(operator), other, cursor.extent.start.line)

    def change_text(self, cursor):
        token = next(iter(cursor.get_tokens()), None)
        if token is None or token.kind != TokenKind.LITERAL or '"' not in token.spelling:
            return
        quote = token.extent.start.offset + token.spelling.index('"') + 1
        if "R\"" not in token.spelling:
            self.add(quote, quote + 1, "~" + self.source[quote:quote + 1].decode(),
                     token.extent.start.line)

    def swap_arguments(self, cursor):
        arguments = list(cursor.get_arguments())
        for first, second in zip(arguments, arguments[1:]):
            if first is None or second is None or not self.text(first) or not self.text(second):
                continue
            if first.type.get_canonical().spelling == second.type.get_canonical().spelling:
                begin, end = first.extent.start.offset, second.extent.end.offset
                between = self.source[first.extent.end.offset:second.extent.start.offset].decode()
                if between.strip() == ",":
                    self.add(begin, end, self.text(second) + between + self.text(first),
                             first.extent.start.line)


def find_edits(root, build):
    """The edits of all sources, file by file, in the order of the text."""
    commands = {entry["file"]: entry["command"]
                for entry in json.loads((build / "compile_commands.json").read_text())}
    for path in sorted((root / "src").glob("*/*.cpp")):
        edits = Finder(root, str(path.relative_to(root)), commands[str(path)]).edits.values()
        yield from sorted(edits, key=lambda edit: (edit.begin, edit.end, edit.new))
