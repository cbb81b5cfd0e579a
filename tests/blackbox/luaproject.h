#pragma once

#include "projects.h"

constexpr qint64 millisecond = 1000000;

/// A project that merges one source tree (or file) with some processing options; its file is older
/// than everything else.
inline void writeProject(World &world, const QByteArray &process, const QByteArray &source = "root",
                         const QByteArray &attributes = demo)
{
    world.project(attributes, tree(source) + ::process(process));
    world.setTime("project/demo.ztp", -1000 * millisecond);
}
