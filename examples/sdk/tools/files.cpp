#include "files.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace {

/// A file descriptor that is closed with its scope.
class Descriptor
{
public:
    Descriptor(const std::string &path, int flags) : m_number(open(path.c_str(), flags, 0666))
    {
        if (m_number < 0)
            fail(path);
    }
    ~Descriptor() { close(m_number); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number() const { return m_number; }

    [[noreturn]] static void fail(const std::string &path)
    {
        throw std::system_error(errno, std::generic_category(), path);
    }

private:
    int m_number;
};

} // namespace

std::string readFile(const std::string &path)
{
    const Descriptor file(path, O_RDONLY | O_CLOEXEC);
    std::string content;
    for (size_t size = 0;;) {
        content.resize(size + 65536);
        const ssize_t count = read(file.number(), content.data() + size, content.size() - size);
        if (count < 0)
            Descriptor::fail(path);
        size += static_cast<size_t>(count);
        content.resize(size);
        if (count == 0)
            return content;
    }
}

void writeFile(const std::string &path, const std::string &content)
{
    const std::string temporary = temporaryName(path);
    try {
        const Descriptor file(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
        for (size_t done = 0; done < content.size();) {
            const ssize_t count =
                    write(file.number(), content.data() + done, content.size() - done);
            if (count < 0)
                Descriptor::fail(path);
            done += static_cast<size_t>(count);
        }
        std::filesystem::rename(temporary, path);
    } catch (const std::system_error &) {
        unlink(temporary.c_str());
        throw;
    }
}

std::string temporaryName(const std::string &path)
{
    const std::filesystem::path target(path);
    if (target.has_parent_path())
        std::filesystem::create_directories(target.parent_path());
    const std::string name = "." + target.filename().string() + "." + std::to_string(getpid());
    return (target.parent_path() / name).string();
}
