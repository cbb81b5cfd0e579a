#pragma once

#include <functional>
#include <getopt.h>
#include <stdexcept>
#include <string>
#include <vector>

/// What the sample SDK's compiled tools share: arguments and error reports, as in ztsdk.py.

/// An expected failure.
struct ToolError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// An option with its value, or an operand, which has the letter 0.
struct Argument
{
    int letter;
    std::string value;
};

/// The arguments of a tool: options in the order in which they are given, then the operands.
struct Arguments
{
    std::vector<Argument> options;
    std::vector<std::string> operands;
};

/// Parses and runs: calls the tool's main function, and reports what it throws as errors of the
/// tool. A single argument "@file" stands for the lines of that file.
/// @param shortOptions  for getopt
/// @param longOptions   their letters are those that the arguments get
/// @return the exit status of the tool
int runTool(int argc, char **argv, const char *shortOptions, const std::vector<option> &longOptions,
            const std::function<void(const Arguments &)> &main);
