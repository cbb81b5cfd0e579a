"""Finds the edits of scripts/mutate in the parsed source, and builds all of them into it at once:
each is switched on by its number."""

import dataclasses
import re

from clang.cindex import CursorKind, Index, TokenKind

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPERATORS = {*COMPARISONS, "==", "!=", "&&", "||"}
FUNCTIONS = (CursorKind.CXX_METHOD, CursorKind.FUNCTION_DECL, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR)
CONDITIONS = (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR)
STATEMENTS = (CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR,
              CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.CXX_DELETE_EXPR,
              CursorKind.UNEXPOSED_EXPR)


@dataclasses.dataclass(frozen=True)
class Piece:
    """A piece of a source that is guarded: in the pattern, "@" stands for "edit N is on" and "$"
    for the piece itself, with the guards in it."""
    begin: int  # bytes of the file
    end: int
    pattern: str


@dataclasses.dataclass(frozen=True)
class Edit:
    file: str
    function: str
    line: int
    old: str
    new: str
    pieces: tuple

    def key(self):
        """What an edit is found again by: not its place, which every change moves."""
        return self.file, self.function, self.old, self.new

    def __str__(self):
        return f"{self.file}:{self.line} {self.function}: {self.old} becomes {self.new or 'nothing'}"


def literal(text):
    """Text of the source as a part of a pattern."""
    return text.replace("@", "\1").replace("$", "\2")


def squeezed(text):
    return re.sub(r"\s+", " ", text).strip()


class Finder:
    def __init__(self, root, file, compile_command):
        self.file = file
        self.path = str(root / file)
        self.source = (root / file).read_bytes()
        words = [word for word in compile_command.split()
                 if word.startswith(("-D", "-I", "-std=", "/")) or word == "-isystem"]
        arguments = [word for word in words if not word.endswith((".cpp", "c++", "ccache"))]
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
        kind = cursor.kind
        if kind in CONDITIONS and children and children[0].kind.is_expression():
            self.edit(children[0], f"!({self.text(children[0])})",
                      "(@ != static_cast<bool>($))")
        if kind == CursorKind.COMPOUND_STMT:
            for child in children:
                if child.kind in STATEMENTS:
                    self.edit(child, "", "if (!@) $")
        if kind == CursorKind.BINARY_OPERATOR and len(children) == 2:
            self.change_operator(cursor, children)
        if kind == CursorKind.INTEGER_LITERAL and '"' not in self.text(cursor):
            self.edit(cursor, f"({self.text(cursor)} + 1)", "($ + (@ ? 1 : 0))")
        if kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.edit(cursor, f"!{self.text(cursor)}", "(@ != $)")
        if kind == CursorKind.STRING_LITERAL:
            self.change_text(cursor)
        if kind == CursorKind.CALL_EXPR:
            self.swap_arguments(cursor)
        for child in children:
            self.walk(child)

    def text(self, cursor):
        return self.source[cursor.extent.start.offset:cursor.extent.end.offset].decode()

    def is_here(self, cursor):
        """Whether a piece stands in this file itself, and not in a macro or another file."""
        start = cursor.extent.start
        return start.file is not None and start.file.name == self.path and self.text(cursor) != ""

    def edit(self, cursor, new, pattern):
        if self.is_here(cursor):
            extent = cursor.extent
            self.add(cursor, self.text(cursor), new,
                     Piece(extent.start.offset, extent.end.offset, pattern))

    def add(self, cursor, old, new, *pieces):
        edit = Edit(self.file, self.function, cursor.extent.start.line, squeezed(old),
                    squeezed(new), pieces)
        self.edits.setdefault(edit.pieces, edit)

    def change_operator(self, cursor, children):
        if not all(map(self.is_here, [cursor, *children])):
            return
        left, right = map(self.text, children)
        gap = self.source[children[0].extent.end.offset:children[1].extent.start.offset].decode()
        operator = gap.strip()
        if operator not in OPERATORS:
            return
        if operator in COMPARISONS:
            new = f"{left} {COMPARISONS[operator]} {right}"
            self.edit(cursor, new, f"(@ ? ({literal(new)}) : ($))")
        elif operator in ("==", "!="):
            new = f"{left} {'!=' if operator == '==' else '=='} {right}"
            self.edit(cursor, new, "(@ != ($))")
        else:
            # Each operand stands but once, as chains are long: "a && b" is "a ? b : false", and
            # "a ? true : b" with the edit on.
            new = f"{left} {'||' if operator == '&&' else '&&'} {right}"
            equals, otherwise = ("!=", "@") if operator == "&&" else ("==", "!@")
            ends = [(child.extent.start.offset, child.extent.end.offset) for child in children]
            self.add(cursor, f"{left} {operator} {right}", new,
                     Piece(*ends[0], f"((static_cast<bool>($) {equals} @)"),
                     Piece(ends[0][1], ends[1][0], " ? "),
                     Piece(*ends[1], f"static_cast<bool>($) : {otherwise})"))

    def change_text(self, cursor):
        token = next(iter(cursor.get_tokens()), None)
        if not self.is_here(cursor) or token is None or token.kind != TokenKind.LITERAL \
                or '"' not in token.spelling or 'R"' in token.spelling:
            return
        begin = token.extent.start.offset
        end = max(token.extent.end.offset, cursor.extent.end.offset)
        old = self.source[begin:end].decode()
        new = old.replace('"', '"~', 1)
        self.add(cursor, old, new, Piece(begin, end, f"(@ ? {literal(new)} : $)"))

    def swap_arguments(self, cursor):
        arguments = list(cursor.get_arguments())
        for first, second in zip(arguments, arguments[1:]):
            if first is None or second is None or not self.is_here(first) \
                    or not self.is_here(second):
                continue
            if first.type.get_canonical().spelling != second.type.get_canonical().spelling:
                continue
            texts = self.text(first), self.text(second)
            gap = self.source[first.extent.end.offset:second.extent.start.offset].strip()
            if texts[0] == texts[1] or gap != b",":
                continue
            self.add(first, ", ".join(texts), ", ".join(reversed(texts)),
                     *(Piece(argument.extent.start.offset, argument.extent.end.offset,
                             f"(@ ? {literal(other)} : $)")
                       for argument, other in zip((first, second), reversed(texts))))


def guarded(source, edits):
    """The source with all of the edits in it; `edits` are pairs of a number and an edit."""
    # An edit of a whole goes around those of its parts, and was found before them.
    pieces = sorted((piece.begin, -piece.end, order, number, piece.pattern)
                    for order, (number, edit) in enumerate(edits) for piece in edit.pieces)
    position = 0

    def render(begin, end):
        nonlocal position
        text = ""
        while position < len(pieces) and pieces[position][0] < end:
            first, minus_last, _, number, pattern = pieces[position]
            last = -minus_last
            if first < begin or last > end:
                raise ValueError(f"edit {number} overlaps with another one")
            position += 1
            text += source[begin:first].decode()
            inner = render(first, last)
            pattern = pattern.replace("@", f"mutant({number})")
            before, found, after = pattern.replace("\1", "@").partition("$")
            text += (before + inner * bool(found) + after).replace("\2", "$")
            begin = last
        return text + source[begin:end].decode()

    return render(0, len(source))


def is_edited(file):
    return re.fullmatch(r"src/\w+/\w+\.cpp", file) is not None


def edited_files(root):
    return sorted(str(path.relative_to(root)) for path in (root / "src").glob("*/*.cpp"))


def find_edits(root, commands):
    """The edits of all sources, file by file, in the order in which they are found."""
    for file in edited_files(root):
        yield from Finder(root, file, commands[str(root / file)]).edits.values()
