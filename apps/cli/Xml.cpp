// SPDX-License-Identifier: Apache-2.0
#include "Control.h"
#include "Find.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace kestrocli {
namespace {

/** A file that is gone at the end. */
class TemporaryFile {
 public:
    TemporaryFile() {
        const char* folder = std::getenv("TMPDIR");
        path_ =
            std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/kestro-XXXXXX";
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) throw Failure("no temporary file can be made: " + visible(path_));
        close(descriptor);
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

 private:
    std::string path_;
};

void download(const Control& control, const std::string& path) {
    if (control.camera()->downloadGenICamXML(path.c_str()).isOK()) return;
    throw control.failure("the description could not be written to " + visible(path));
}

}  // namespace

ExitCode runXml(const FileOptions& options, Output& output) {
    const Control control(findCamera(options.camera));
    if (options.file != "-") {
        download(control, options.file);
        say("written to " + visible(options.file));
        return ExitCode::ok;
    }
    const TemporaryFile file;
    download(control, file.path());
    std::ifstream stream(file.path(), std::ios::binary);
    output.write(std::string(std::istreambuf_iterator<char>(stream), {}));
    return ExitCode::ok;
}

}  // namespace kestrocli
