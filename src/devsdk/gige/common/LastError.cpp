// SPDX-License-Identifier: Apache-2.0
#include "LastError.h"

#include "VordaInfra.h"

#include <utility>

namespace {

struct LastError {
    int number;
    std::string* text;  ///< null before the first error, and when the thread's variables are gone
};

// Trivial, and so there to the very end: cameras that a program leaves connected are closed after
// the variables of its main thread.
thread_local constinit LastError lastError{0, nullptr};

/** Holds the text as long as the thread has variables. */
struct TextOwner {
    TextOwner() { lastError.text = &text; }
    TextOwner(const TextOwner&) = delete;
    TextOwner& operator=(const TextOwner&) = delete;
    ~TextOwner() { lastError.text = nullptr; }
    std::string text;
};

std::string* textOfThread() {
    [[maybe_unused]] thread_local TextOwner owner;
    return lastError.text;
}

const char* generalText(int number) {
    switch (static_cast<Vorda::Gige::Error>(number)) {
        case Vorda::Gige::Error::none:
            return "no error";
        case Vorda::Gige::Error::invalidArgument:
            return "invalid argument";
        case Vorda::Gige::Error::notConnected:
            return "the camera is not connected";
        case Vorda::Gige::Error::accessDenied:
            return "the camera is controlled by another program";
        case Vorda::Gige::Error::notReachable:
            return "the camera cannot be reached";
        case Vorda::Gige::Error::notSupported:
            return "not supported";
        case Vorda::Gige::Error::refused:
            return "the camera refused the request";
        case Vorda::Gige::Error::badAnswer:
            return "the camera's answer cannot be understood";
        case Vorda::Gige::Error::description:
            return "the GenICam description cannot be used";
        case Vorda::Gige::Error::feature:
            return "the feature failed";
        case Vorda::Gige::Error::system:
            return "the operating system refused the request";
        case Vorda::Gige::Error::timeout:
            return "timeout";
        case Vorda::Gige::Error::connectionLost:
            return "the connection to the camera is lost";
        case Vorda::Gige::Error::notGrabbing:
            return "the stream is not grabbing";
        case Vorda::Gige::Error::alreadyGrabbing:
            return "the stream is already grabbing";
        case Vorda::Gige::Error::notAvailable:
            return "the feature is not available at this moment";
        case Vorda::Gige::Error::notReadable:
            return "the feature cannot be read";
        case Vorda::Gige::Error::notWritable:
            return "the feature cannot be written";
        case Vorda::Gige::Error::locked:
            return "the feature is locked at this moment";
        case Vorda::Gige::Error::outOfRange:
            return "the feature does not take this value";
    }
    return nullptr;
}

}  // namespace

namespace Vorda::Infra {

int getLastError() { return lastError.number; }

const char* getErrMsg(int number) {
    const bool hasText = lastError.text && !lastError.text->empty();
    return number == lastError.number && hasText ? lastError.text->c_str() : generalText(number);
}

}  // namespace Vorda::Infra

namespace Vorda::Gige {

void setLastError(Error number, std::string text) {
    lastError.number = static_cast<int>(number);
    if (std::string* const own = textOfThread()) *own = std::move(text);
}

bool fail(Error number, std::string text) {
    setLastError(number, std::move(text));
    return false;
}

std::string lastErrorMessage() {
    const char* text = Infra::getErrMsg(lastError.number);
    return text ? text : "";
}

bool isConnectionGone() {
    const auto error = static_cast<Error>(lastError.number);
    return error == Error::connectionLost || error == Error::notConnected;
}

KeepLastError::KeepLastError()
    : number_(static_cast<Error>(Infra::getLastError())), text_(lastErrorMessage()) {}

KeepLastError::~KeepLastError() { setLastError(number_, std::move(text_)); }

}  // namespace Vorda::Gige
