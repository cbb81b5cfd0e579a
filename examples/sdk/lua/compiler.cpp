#include "compiler.h"

#include "sourceerror.h"

#include <algorithm>
#include <cstring>
#include <lua.hpp>
#include <memory>

namespace lua {

namespace {

using State = std::unique_ptr<lua_State, decltype(&lua_close)>;

/// Copies the byte code of a function without what only debugging needs. The format is that of
/// Lua 5.1's ldump.c on this machine.
class Stripper
{
public:
    explicit Stripper(std::string_view code) : m_code(code) {}

    std::string strip()
    {
        copy(12); // the header
        copyFunction();
        return std::move(m_result);
    }

private:
    std::string_view take(size_t size)
    {
        if (size > m_code.size() - m_position)
            throw SourceError("byte code ends early");
        m_position += size;
        return m_code.substr(m_position - size, size);
    }
    template <typename Number>
    Number takeNumber()
    {
        Number number;
        std::memcpy(&number, take(sizeof number).data(), sizeof number);
        return number;
    }
    size_t takeCount() { return static_cast<size_t>(takeNumber<int>()); }
    void copy(size_t size) { m_result += take(size); }
    template <typename Number>
    Number copyNumber()
    {
        const Number number = takeNumber<Number>();
        m_result.append(m_code.substr(m_position - sizeof number, sizeof number));
        return number;
    }
    void skipString() { take(takeNumber<size_t>()); }
    void leaveOut(size_t numberSize) { m_result.append(numberSize, '\0'); }

    void copyFunction();
    void copyConstant();
    void leaveOutDebugInformation();

    std::string_view m_code;
    size_t m_position = 0;
    std::string m_result;
};

void Stripper::copyFunction()
{
    skipString(); // the name of the source
    leaveOut(sizeof(size_t));
    copy(2 * sizeof(int) + 4); // its lines; upvalues, parameters, variable arguments, stack
    copy(static_cast<size_t>(copyNumber<int>()) * sizeof(int)); // instructions
    for (int count = copyNumber<int>(); count > 0; --count)
        copyConstant();
    for (int count = copyNumber<int>(); count > 0; --count)
        copyFunction();
    leaveOutDebugInformation();
}

void Stripper::copyConstant()
{
    switch (copyNumber<char>()) {
    case LUA_TBOOLEAN:
        return copy(1);
    case LUA_TNUMBER:
        return copy(sizeof(lua_Number));
    case LUA_TSTRING:
        return copy(copyNumber<size_t>());
    default:
        return; // nil
    }
}

void Stripper::leaveOutDebugInformation()
{
    take(takeCount() * sizeof(int)); // the line of each instruction
    for (size_t count = takeCount(); count > 0; --count) {
        skipString(); // a local variable, and where it lives
        take(2 * sizeof(int));
    }
    for (size_t count = takeCount(); count > 0; --count)
        skipString(); // an upvalue
    leaveOut(3 * sizeof(int));
}

int append(lua_State * /*state*/, const void *part, size_t size, void *result)
{
    static_cast<std::string *>(result)->append(static_cast<const char *>(part), size);
    return 0;
}

} // namespace

std::string compile(std::string_view source, const std::string &name, bool strip)
{
    // Lua passes over a first line that begins with "#", but for its end.
    const bool hasFirstLine = source.starts_with('#');
    if (hasFirstLine)
        source.remove_prefix(std::min(source.find('\n'), source.size()));
    const std::string text(hasFirstLine && source.empty() ? "\n" : source);

    const State state(luaL_newstate(), &lua_close);
    if (!state)
        throw std::bad_alloc();
    const std::string chunk = "@" + name;
    if (luaL_loadbuffer(state.get(), text.data(), text.size(), chunk.c_str()) != 0) {
        // Lua cuts long names in its messages. A second time without a name, the message is
        // ":LINE: TEXT".
        luaL_loadbuffer(state.get(), text.data(), text.size(), "=");
        const std::string message = lua_tostring(state.get(), -1);
        throw SourceError(name + (message.starts_with(':') ? "" : ": ") + message);
    }
    std::string code;
    lua_dump(state.get(), append, &code);
    return strip ? Stripper(code).strip() : code;
}

} // namespace lua
