"""The pieces of a Lua 5.1 source file, as the preprocessor and the text scanner see them."""

import re

from ztsdk import ToolError

# Kinds that are not in this table (name, number, space, newline, other) speak for themselves.
#   shebang    a "#!" line at the very start
#   directive  an #include or #define line, without its newline
#   comment    a short or long comment, without the newline that ends a short one
#   string     a quoted string with its quotes
#   long       a long string with its brackets
TOKEN = re.compile(
    r"""
      (?P<newline>\r?\n)
    | (?P<space>[ \t\r\f\v]+)
    | (?P<longcomment>--\[(?P<level1>=*)\[)
    | (?P<comment>--[^\r\n]*)
    | (?P<long>\[(?P<level2>=*)\[)
    | (?P<string>"(?:[^"\\\r\n]|\\\r?\n|\\[^\r\n])*"|'(?:[^'\\\r\n]|\\\r?\n|\\[^\r\n])*')
    | (?P<name>[A-Za-z_][A-Za-z0-9_]*)
    | (?P<number>\.?[0-9](?:[eE][+-]|[A-Za-z0-9_.])*)
    | (?P<other>\.{1,3}|[=~<>]=|.)
    """,
    re.VERBOSE | re.DOTALL,
)
SHEBANG = re.compile(r"#![^\r\n]*")
DIRECTIVE = re.compile(r"[ \t]*#[ \t]*(?:include|define)\b[^\r\n]*")

ESCAPE = re.compile(rb"\\(\r?\n|[0-9]{1,3}|.)", re.DOTALL)
ESCAPED = dict(zip((b"a", b"b", b"f", b"n", b"r", b"t", b"v"),
                   (b"\a", b"\b", b"\f", b"\n", b"\r", b"\t", b"\v")))


def tokens(text, file, line=1):
    """Yields (kind, text, line) for every piece; together the texts are the source again."""
    position = 0
    shebang = SHEBANG.match(text)
    if shebang:
        yield "shebang", shebang.group(), line
        position = shebang.end()
    while position < len(text):
        if position == 0 or text[position - 1] == "\n":
            directive = DIRECTIVE.match(text, position)
            if directive:
                yield "directive", directive.group(), line
                position = directive.end()
                continue
        kind, end = scan(text, position, file, line)
        piece = text[position:end]
        yield kind, piece, line
        line += piece.count("\n")
        position = end


def scan(text, position, file, line):
    """The kind and the end of the piece that starts at a position."""
    match = TOKEN.match(text, position)
    kind = match.lastgroup
    if match.group("longcomment"):
        return "comment", closing(text, match.end(), match.group("level1"), "comment", file, line)
    if match.group("long"):
        return "long", closing(text, match.end(), match.group("level2"), "string", file, line)
    if kind == "other" and match.group() in "\"'":
        raise ToolError("unterminated string", file, line)
    return kind, match.end()


def closing(text, position, level, what, file, line):
    """The position behind the bracket that closes a long string or comment."""
    end = text.find(f"]{level}]", position)
    if end < 0:
        raise ToolError(f"unterminated long {what}", file, line)
    return end + len(level) + 2


def string_value(kind, text, file, line):
    """The text that a string literal stands for; escapes may spell the bytes of UTF-8."""
    if kind == "long":
        content = text[text.index("[", 1) + 1 : text.rindex("]", 0, -1)]
        return re.sub(r"^\r?\n", "", content).replace("\r\n", "\n")
    content = text[1:-1].encode("utf-8", "surrogateescape")
    try:
        return ESCAPE.sub(unescape, content).decode("utf-8")
    except ValueError:
        raise ToolError("string is not UTF-8", file, line) from None


def unescape(match):
    """The bytes that one escape sequence stands for."""
    escape = match.group(1)
    if escape.isdigit():
        return bytes([int(escape)])
    return ESCAPED.get(escape, escape.replace(b"\r\n", b"\n"))
