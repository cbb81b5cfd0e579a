#pragma once

#include "world.h"

// The projects that many tests build, in the words of a project file, and the calls of their builds
// in the words of Result::callText().

/// The attributes of most projects, and the children of one with an image and a firmware.
inline const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
inline const QByteArray minimal = R"(<Target Model="T1"/><Filesystem/>)";

/// Children of a "Process" element.
inline const QByteArray noPreprocess = R"(<Preprocess Type="Ztlpp" Enabled="0"/>)";
inline const QByteArray noCompile = R"(<Compile Type="Lua" Enabled="0"/>)";

QByteArray process(const QByteArray &children);
QByteArray merge(const QByteArray &type, const QByteArray &source,
                 const QByteArray &destination = {}, const QByteArray &process = {});
QByteArray filesystem(const QByteArray &merges);
/// A filesystem that merges one directory.
QByteArray tree(const QByteArray &source = "root");
QByteArray languages(const QByteArrayList &names);

/// The two calls for a Lua file of a source tree, whose outputs lie below obj/<objects>.
QByteArray preprocess(const QByteArray &name, const QByteArray &tree = "root",
                      const QByteArray &objects = "root");
QByteArray compile(const QByteArray &name, const QByteArray &objects = "root");

/// The call that packs the root image; each argument of it is followed by a blank.
QByteArray pack(const QByteArray &contents = {}, const QByteArray &letters = {});
/// The call that links firmware; the stem of its file is that of the project demo when left out.
QByteArray linkTo(const QByteArray &model, const QByteArray &afterOutput = "--name Demo",
                  const QByteArray &stem = {});

/// The names of the tools that have run.
QByteArrayList names(const Result &result);
/// The calls of a run before the image is packed.
QByteArray compilerCalls(const Result &result);
/// The arguments of the image between the source tree and the version file.
QByteArray objectArguments(const Result &result);
/// The same without response files, for tests that look at other things.
Result direct(Result result);
