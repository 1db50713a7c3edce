// SPDX-License-Identifier: Apache-2.0
//
// How a camera that was lost is had again. When to try is the Reconnector's business; this is one
// attempt: find the camera by its identity, take its control, restore what the application had made
// of it, and only then say that it is back.
#include "GigeCamera.h"
#include "HeldLines.h"
#include "LastError.h"
#include "VordaInfra.h"

#include <cstdio>
#include <utility>

namespace Vorda::Gige {

namespace {

using Clock = std::chrono::steady_clock;

/** Each takes the time-out of a request and the pause between attempts: about a second. */
constexpr unsigned kSilentRestores = 5;

std::string secondsText(Clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", std::chrono::duration<double>(time).count());
    return text;
}

}  // namespace

/** On the thread that notices, or, when that was ended first, on that of the first attempt. */
void GigeCamera::reportLoss(Connection& connection) {
    if (connection.lossReported.exchange(true)) return;
    std::shared_ptr<Session> current;
    {
        const std::lock_guard lock(mutex_);
        if (!connection.isAnnounced) return;
        lostAt_ = Clock::now();
        current = session_;
    }
    GIGE_LOG_WHEN_FREE(kWarning, "the connection to the camera is lost, key=[" + key_ + "]");
    events_.postConnection(false);
    if (!current || !current->reconnects || reconnector_->begin()) return;
    GIGE_LOG_WHEN_FREE(kError, "the camera will not be connected again, key=[" + key_ +
                                   "]: " + lastErrorMessage());
}

/** True when there is nothing more to attempt. */
bool GigeCamera::recoverIfWanted() {
    Aftermath after;  // first, to be the last to go
    const std::lock_guard lock(connectMutex_);
    const auto wanted = session();
    if (!wanted || wanted->ended.isRaised() || isOnline()) return true;
    return recover(*wanted, after);
}

/** One attempt; false with the last error set. */
bool GigeCamera::recover(Session& session, Aftermath& after) {
    const auto lost = connection();
    if (session.attempts++ == 0) {
        // Its threads have ended then, so that its loss was reported before anything else is.
        lost->close();
        reportLoss(*lost);
        session.latest = lost->channel;
    }
    const auto made = reach(session);
    if (!made) {
        // That it is still silent is no news.
        const bool isSilent = Infra::getLastError() == static_cast<int>(Error::timeout);
        if (!isSilent && !session.ended.isRaised()) complain(session, false);
        return false;
    }
    if (!restore(session, made, *lost, after) || !announce(made)) {
        const KeepLastError why;
        // One that is lost again will be found again.
        if (made->channel->isOnline()) complain(session, true);
        withdraw(*made);
        return false;
    }
    GIGE_LOG_WHEN_FREE(kWarning, backAgainText(*made, session.attempts));
    session.attempts = session.silentRestores = 0;
    session.complaint.clear();
    session.latest = nullptr;
    session.search.end();
    if (lost->isWatched) {
        made->isWatched = true;
        startPolling(*made);
    }
    return true;
}

std::string GigeCamera::backAgainText(const Connection& made, unsigned attempts) const {
    const std::lock_guard lock(mutex_);
    return std::string("the camera is back, key=[") + getKey() + "]: at " +
           made.location.address.text() + " after " + secondsText(Clock::now() - lostAt_) +
           ", attempt " + std::to_string(attempts);
}

/** Finds the camera and connects to it; empty, with the last error. */
std::shared_ptr<GigeCamera::Connection> GigeCamera::reach(Session& session) {
    if (!find(session)) return nullptr;
    auto made = std::make_shared<Connection>();
    made->location = location();
    made->channel =
        ControlChannel::reopen(*session.latest, made->location.via.address, made->location.address);
    if (!made->channel) return nullptr;
    session.latest = made->channel;
    {
        const std::lock_guard lock(mutex_);
        attempted_ = made->channel;
    }
    if (session.ended.isRaised()) made->channel->cancel();  // by one who did not see it yet
    if (made->channel->mayTakeControl() && takeControl(made) && learn(session, made)) return made;
    withdraw(*made);
    return nullptr;
}

bool GigeCamera::find(Session& session) {
    const CameraLocation last = location();
    const auto found = session.search.run(last.address, session.ended);
    if (!found)
        return fail(Error::timeout,
                    "the camera answers neither at " + last.address.text() + " nor elsewhere");
    relocate(*found);
    const CameraLocation now = location();
    return now.isValid() || fail(Error::notReachable, now.validity());
}

bool GigeCamera::restore(Session& session, const std::shared_ptr<Connection>& made,
                         const Connection& lost, Aftermath& after) {
    {
        const KeepLastError quiet;
        // One that was away for a moment only may still send, and refuse what would disturb that.
        if (lost.streamOpen)
            static_cast<void>(stopAcquisition(*made));
        else
            made->features->lockTransport(false);
    }
    made->port->carryOver(*lost.port);
    std::vector<std::string> refusals;
    // A camera that was just switched on may answer of its features later than of itself.
    const bool isToWait = session.silentRestores < kSilentRestores;
    if (!session.settings->restore(
            *made->features, refusals,
            isToWait ? AppliedSettings::Silence::isUnready : AppliedSettings::Silence::isRefusal)) {
        if (made->channel->isOnline()) ++session.silentRestores;
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        restoring_ = made;
        after.stream = stream_.lock();
    }
    if (after.stream && !after.stream->resume()) return false;
    // Not for an attempt that fails: the next one meets them again.
    for (const std::string& refusal : refusals)
        GIGE_LOG_WHEN_FREE(
            kWarning, "the camera does not take a setting again, key=[" + key_ + "]: " + refusal);
    return true;
}

/** Ends an attempt that failed. */
void GigeCamera::withdraw(Connection& made) {
    const KeepLastError why;
    {
        const std::lock_guard lock(mutex_);
        restoring_ = nullptr;
        attempted_ = nullptr;
    }
    if (made.streamOpen) {
        static_cast<void>(stopAcquisition(made));
        shutStreamChannel(made);
    }
    made.close();
}

/** Once for each reason: attempts are many. */
void GigeCamera::complain(Session& session, bool isError) const {
    const std::string reason = lastErrorMessage();
    if (reason == std::exchange(session.complaint, reason)) return;
    const std::string text = "the camera is not connected again yet, key=[" + key_ + "]: " + reason;
    if (isError)
        GIGE_LOG_WHEN_FREE(kError, text);
    else
        GIGE_LOG_WHEN_FREE(kWarning, text);
}

void GigeCamera::interruptRecovery() {
    std::shared_ptr<Session> current;
    std::shared_ptr<ControlChannel> attempted;
    {
        const std::lock_guard lock(mutex_);
        current = session_;
        attempted = attempted_;
    }
    if (current) current->ended.raise();
    if (attempted) attempted->cancel();
}

void GigeCamera::endSession() {
    std::shared_ptr<Session> current;
    const std::lock_guard lock(mutex_);
    current.swap(session_);
    stream_.reset();
    if (current) current->ended.raise();
}

std::shared_ptr<GigeCamera::Session> GigeCamera::session() const {
    const std::lock_guard lock(mutex_);
    return session_;
}

}  // namespace Vorda::Gige
