// SPDX-License-Identifier: Apache-2.0
#include "FileWriter.h"

#include "LastError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Vorda::Gige {
namespace {

bool failWriting(const std::string& path) {
    return fail(Error::system,
                "cannot write " + path + ": " + std::system_category().message(errno));
}

bool writeAll(int fd, const std::string& content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = ::write(fd, content.data() + done, content.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

/** A name beside `path` that no other writer uses at the same time. */
std::string temporaryName(const std::string& path) {
    static std::atomic<unsigned> count{0};
    return path + "." + std::to_string(::getpid()) + "-" + std::to_string(count++) + ".part";
}

/** A device or a pipe: written into, for another file in its place would not be the same. */
bool isSpecial(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

bool writeInto(const std::string& path, const std::string& content) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) return failWriting(path);
    const bool written = writeAll(fd, content) || failWriting(path);
    ::close(fd);
    return written;
}

}  // namespace

bool writeFile(const std::string& path, const std::string& content) {
    if (isSpecial(path)) return writeInto(path, content);
    const std::string temporary = temporaryName(path);
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return failWriting(path);
    bool written = writeAll(fd, content);
    written = ::close(fd) == 0 && written;
    if (written && std::rename(temporary.c_str(), path.c_str()) == 0) return true;
    const bool failed = failWriting(path);
    ::unlink(temporary.c_str());
    return failed;
}

}  // namespace Vorda::Gige
