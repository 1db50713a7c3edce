// SPDX-License-Identifier: Apache-2.0
#include "FetchedFile.h"

#include "Failure.h"
#include "ImageFile.h"
#include "Text.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace kestrocli {
namespace {

/** A file that is gone at the end. */
class TemporaryFile {
 public:
    TemporaryFile() {
        const char* folder = std::getenv("TMPDIR");
        path_ = folder != nullptr && *folder != '\0' ? folder : "/tmp";
        path_ += "/kestro-XXXXXX";
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
        close(descriptor);
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

 private:
    std::string path_;
};

}  // namespace

bool fetchInto(const std::string& target, Output& output, const Fetch& fetch) {
    const TemporaryFile file;
    if (!fetch(file.path().c_str())) return false;
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(stream), {});
    if (target == "-") {
        output.write(content);
        return true;
    }
    writeWhole(target, {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
    say("written to " + visible(target));
    return true;
}

}  // namespace kestrocli
