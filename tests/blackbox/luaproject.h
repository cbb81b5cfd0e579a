#pragma once

#include "projects.h"

constexpr qint64 millisecond = 1000000;

/// A project that merges one source tree (or file) with some processing options; its file is older
/// than everything else.
class LuaWorld : public World
{
public:
    explicit LuaWorld(const QByteArray &process, const QByteArray &source = "root",
                      const QByteArray &attributes = demo)
    {
        project(attributes, ::tree(source) + ::process(process));
        setTime("project/demo.ztp", -1000 * millisecond);
    }
};
