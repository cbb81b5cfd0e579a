"""What the sample SDK's tools share: arguments, error reports and output files."""

import os
import sys


class ToolError(Exception):
    """An expected failure; its text is the whole report."""

    def __init__(self, text, file=None, line=None):
        super().__init__(f"{file}:{line}: {text}" if file is not None else text)
        self.located = file is not None


def tool_name():
    """The name under which the tool was called."""
    return os.path.basename(sys.argv[0])


def read_arguments(arguments):
    """Replaces a single @file argument by the lines of that file, one argument a line."""
    if len(arguments) == 1 and arguments[0].startswith("@"):
        with open(arguments[0][1:], encoding="utf-8", errors="surrogateescape", newline="") as file:
            text = file.read()
        return text.split("\n")[:-1] if text.endswith("\n") else text.split("\n")
    return arguments


def parse(arguments, short, long):
    """Parses options that may stand between the operands; gives (options in order, operands).

    It is what getopt does, which copies all that is left of the arguments at every option.
    """
    options, operands, rest = [], [], iter(arguments)
    for argument in rest:
        if argument == "--":
            operands += rest
        elif argument.startswith("--"):
            name, equals, value = argument[2:].partition("=")
            if name + "=" in long:
                options.append(("--" + name, value if equals else value_of(argument, rest)))
            elif name in long and not equals:
                options.append((argument, ""))
            else:
                raise ToolError(f"option --{name} not recognized")
        elif argument.startswith("-") and argument != "-":
            letters = argument[1:]
            while letters:
                option, letters = "-" + letters[0], letters[1:]
                if option[1] not in short.replace(":", ""):
                    raise ToolError(f"option {option} not recognized")
                value = ""
                if option[1] + ":" in short:
                    value, letters = letters or value_of(option, rest), ""
                options.append((option, value))
        else:
            operands.append(argument)
    return options, operands


def value_of(option, rest):
    """The next argument, as the value of an option."""
    for value in rest:
        return value
    raise ToolError(f"option {option} requires argument")


def run(main):
    """Runs a tool's main function on its arguments and exits with its status."""
    try:
        status = main(read_arguments(sys.argv[1:])) or 0
        sys.stdout.flush()
    except ToolError as error:
        print(error if error.located else f"{tool_name()}: {error}", file=sys.stderr)
        status = 1
    except OSError as error:
        where = f"{error.filename}: " if error.filename is not None else ""
        print(f"{tool_name()}: {where}{error.strerror or error}", file=sys.stderr)
        status = 1
    sys.exit(status)


def read_text(path):
    """Reads a text file so that bytes that are not UTF-8 survive being written again."""
    with open(path, encoding="utf-8", errors="surrogateescape", newline="") as file:
        return file.read()


def read_bytes(path):
    """Reads a whole binary file."""
    with open(path, "rb") as file:
        return file.read()


def temporary_name(path):
    """A name beside an output file to write it under; missing directories are made."""
    directory, name = os.path.split(path)
    if directory:
        os.makedirs(directory, exist_ok=True)
    return os.path.join(directory, f".{name}.{os.getpid()}")


def write_file(path, content):
    """Writes a text or binary file in one piece: readers see the old file or the new one."""
    if isinstance(content, str):
        content = content.encode("utf-8", "surrogateescape")
    temporary = temporary_name(path)
    try:
        with open(temporary, "wb") as file:
            file.write(content)
        os.replace(temporary, path)
    except OSError:
        remove_if_there(temporary)
        raise


def remove_if_there(path):
    """Deletes a file that may not exist."""
    try:
        os.remove(path)
    except FileNotFoundError:
        pass
