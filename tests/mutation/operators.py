"""Finds the edits of scripts/mutate in the parsed source, and builds all of them into it at once:
each is switched on by its number."""

import dataclasses
import hashlib
import pathlib
import pickle
import re

from clang.cindex import CursorKind, Index, TokenKind

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
EQUALITIES = {"==": "!=", "!=": "=="}
OPERATORS = {*COMPARISONS, *EQUALITIES, "&&", "||"}
# Calls that only save time, and calls that give the same with their arguments swapped: std::tie
# stands on both sides of a comparison.
ONLY_SPEED = {"reserve"}
COMMUTATIVE = {"min", "max", "tie", "qstrnicmp"}
# In the order in which their edits are judged. The companion program is left out: it changes no
# build.
FOLDERS = ["engine", "compile", "build", "files", "model", "xml", "tools", "app"]
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
        """What an edit is found again by: not its line, which every change moves."""
        return f"{self.file} {self.function}: {self.old} becomes {self.new or 'nothing'}"

    def __str__(self):
        return self.key().replace(" ", f":{self.line} ", 1)


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
        self.moved_bound = None  # where an operand begins that a moved comparison stands for
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
        if kind in CONDITIONS and children and children[0].kind.is_expression() \
                and self.operator(children[0]) not in EQUALITIES:
            self.edit(children[0], f"!({self.text(children[0])})",
                      "(@ != static_cast<bool>($))")
        if kind == CursorKind.COMPOUND_STMT:
            for child in children:
                if child.kind in STATEMENTS and child.spelling not in ONLY_SPEED:
                    self.edit(child, "", "if (!@) $")
        if kind == CursorKind.BINARY_OPERATOR and len(children) == 2:
            self.change_operator(cursor, children)
        if kind == CursorKind.INTEGER_LITERAL and self.text(cursor)[:1].isdigit() \
                and cursor.extent.start.offset != self.moved_bound:
            self.edit(cursor, f"({self.text(cursor)} + 1)", "($ + (@ ? 1 : 0))")
        if kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.edit(cursor, f"!{self.text(cursor)}", "(@ != $)")
        if kind == CursorKind.STRING_LITERAL:
            self.change_text(cursor)
        if kind == CursorKind.CALL_EXPR:
            if cursor.spelling in ONLY_SPEED:
                return
            if cursor.spelling not in COMMUTATIVE:
                self.swap_arguments(cursor)
        for child in children:
            self.walk(child)

    def operator(self, cursor):
        """The built-in operator of an expression of two operands, else nothing."""
        children = list(cursor.get_children())
        if cursor.kind != CursorKind.BINARY_OPERATOR or len(children) != 2 \
                or not all(map(self.is_here, [cursor, *children])):
            return ""
        left, right = children
        return self.source[left.extent.end.offset:right.extent.start.offset].decode().strip()

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
        operator = self.operator(cursor)
        if operator not in OPERATORS:
            return
        left, right = map(self.text, children)
        if operator in COMPARISONS:
            if operator in ("<", ">="):  # "i < 1" is what "i <= 0" says
                self.moved_bound = children[1].extent.start.offset
            new = f"{left} {COMPARISONS[operator]} {right}"
            self.edit(cursor, new, f"(@ ? ({literal(new)}) : ($))")
        elif operator in EQUALITIES:
            new = f"{left} {EQUALITIES[operator]} {right}"
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


def edited_files(root):
    return [str(path.relative_to(root)) for folder in FOLDERS
            for path in sorted((root / "src" / folder).glob("*.cpp"))]


def find_edits(root, commands, found):
    """The edits of all sources by their numbers, which those of another file do not move. What was
    found is kept in the directory `found` until the source changes, or this script."""
    edits = {}
    for order, file in enumerate(edited_files(root), start=1):
        content = (root / file).read_bytes() + pathlib.Path(__file__).read_bytes()
        kept = found / f"{file}.{hashlib.sha1(content).hexdigest()}"
        if not kept.exists():
            kept.parent.mkdir(parents=True, exist_ok=True)
            finder = Finder(root, file, commands[str(root / file)])
            kept.write_bytes(pickle.dumps(list(finder.edits.values())))
        edits |= {1000 * order + position: edit
                  for position, edit in enumerate(pickle.loads(kept.read_bytes()))}
    return edits
