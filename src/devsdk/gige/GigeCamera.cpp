// SPDX-License-Identifier: Apache-2.0
#include "GigeCamera.h"

#include "Description.h"
#include "DeviceConfig.h"
#include "DeviceLog.h"
#include "FileWriter.h"
#include "Gvcp.h"
#include "LastError.h"
#include "ModelStore.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <utility>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;

constexpr int kControlAccess = 2;
constexpr int kPermissionUnknown = 255;
constexpr auto kReadyAfterForceIp = 3s;

CameraLocation locationOf(const FoundDevice& found) {
    return {found.device.address, found.device.mask, found.device.gateway, found.via,
            found.answeredItsAddress};
}

bool isHostAddress(Ipv4 address) {
    const std::uint32_t first = address.value >> 24;
    return first != 0 && first < 224;  // neither "this network" nor multicast and beyond
}

bool isMask(Ipv4 mask) {
    return !mask.isZero() && std::popcount(mask.value) == std::countl_one(mask.value);
}

/** The value as the library's users know it: who controls the camera. */
int permissionOf(std::uint32_t privilege) {
    constexpr int kOpen = 0;
    constexpr int kExclusive = 1;
    constexpr int kControl = 2;
    constexpr int kControlSwitchover = 6;
    if ((privilege & Gvcp::kPrivilegeExclusive) != 0) return kExclusive;
    if ((privilege & Gvcp::kPrivilegeControl) == 0) return kOpen;
    return (privilege & Gvcp::kPrivilegeSwitchover) != 0 ? kControlSwitchover : kControl;
}

}  // namespace

bool CameraLocation::isValid() const {
    return isHostAddress(address) && (answeredItsAddress || via.reaches(address));
}

std::string CameraLocation::validity() const {
    if (isValid()) return "Valid";
    return "the camera's address " + subnetText(address, mask) + " is not in the subnet of " +
           via.description();
}

GigeCamera::GigeCamera(const FoundDevice& found, std::string key)
    : texts_(found.device), key_(std::move(key)), location_(locationOf(found)) {}

GigeCamera::~GigeCamera() {
    endSession();
    if (const auto last = exchangeConnection(nullptr)) last->close();
}

void GigeCamera::Connection::close() {
    const KeepLastError kept;
    if (poller) poller->requestStop();
    if (messages) messages->close(*channel);
    channel->close();
    if (poller) poller->finish();
    messages.reset();
}

std::shared_ptr<GigeCamera> GigeCamera::from(const std::shared_ptr<GenICam::ICamera>& camera) {
    return std::dynamic_pointer_cast<GigeCamera>(camera);
}

CameraLocation GigeCamera::location() const {
    const std::lock_guard lock(mutex_);
    return location_;
}

void GigeCamera::relocate(const FoundDevice& found) {
    const std::lock_guard lock(mutex_);
    location_ = locationOf(found);
}

std::shared_ptr<GigeCamera::Connection> GigeCamera::connection() const {
    const std::lock_guard lock(mutex_);
    return connection_;
}

std::shared_ptr<GigeCamera::Connection> GigeCamera::onlineConnection() const {
    return ifOnline(connection());
}

std::shared_ptr<GigeCamera::Connection> GigeCamera::ifOnline(std::shared_ptr<Connection> current) {
    if (!current) {
        setLastError(Error::notConnected, "the camera is not connected");
        return nullptr;
    }
    if (current->channel->isOnline()) return current;
    setLastError(Error::connectionLost, "the connection to the camera is lost");
    return nullptr;
}

std::shared_ptr<GigeCamera::Connection> GigeCamera::exchangeConnection(
    std::shared_ptr<Connection> next) {
    const std::lock_guard lock(mutex_);
    return std::exchange(connection_, std::move(next));
}

bool GigeCamera::isOnline() const {
    const auto current = connection();
    return current && current->channel->isOnline();
}

bool GigeCamera::connect(int access) {
    if (access != kControlAccess)
        return fail(Error::notSupported, "cameras are connected with control access (2) only");
    Aftermath after;
    const std::lock_guard lock(connectMutex_);
    if (isOnline()) return true;
    const auto wanted = session();
    return wanted && wanted->reconnects ? recover(*wanted, after) : connectAnew();
}

bool GigeCamera::connectAnew() {
    endSession();
    if (const auto lost = exchangeConnection(nullptr)) lost->close();
    auto made = std::make_shared<Connection>();
    made->location = location();
    if (!made->location.isValid()) return fail(Error::notReachable, made->location.validity());
    made->channel = ControlChannel::open(made->location.via.address, made->location.address);
    if (!made->channel) return false;
    if (!reconnector_) {
        reconnector_ = std::make_unique<Reconnector>([self = weak_from_this()] {
            const auto camera = self.lock();
            return !camera || camera->recoverIfWanted();
        });
    }
    const auto begun = std::make_shared<Session>(identityOf(texts_), key_);
    {
        const std::lock_guard lock(mutex_);
        session_ = begun;
    }
    if (takeControl(made) && learn(*begun, made) && announce(made)) return true;
    endSession();
    made->close();
    return false;
}

bool GigeCamera::takeControl(const std::shared_ptr<Connection>& made) {
    made->port = std::make_shared<ApplicationPort>(made->channel);
    const auto onLost = [self = weak_from_this(), kept = std::weak_ptr(made)] {
        const auto camera = self.lock();
        const auto lost = kept.lock();
        if (camera && lost) camera->reportLoss(*lost);
    };
    return made->channel->takeControl(onLost);
}

/**
 * From here on the application sees the connection, and hears when it is lost: never before it has
 * heard that it was made again.
 */
bool GigeCamera::announce(const std::shared_ptr<Connection>& made) {
    const std::lock_guard lock(mutex_);
    if (!made->channel->isOnline() || session_->ended.isRaised())
        return fail(Error::connectionLost, "the connection to the camera is lost");
    made->isAnnounced = true;
    restoring_ = nullptr;
    attempted_ = nullptr;
    const bool isBack = connection_ != nullptr;
    connection_ = made;
    if (isBack)
        events_.postConnection(true);
    else
        events_.forgetWaiting();
    return true;
}

/** What is kept of an earlier connection saves most of the time that connecting takes. */
bool GigeCamera::takeModel(Session& session, Connection& connection) const {
    RegisterPort& camera = *connection.channel;
    const auto location = locateDescription(camera);
    if (!location) return false;
    ModelStore& store = ModelStore::ofThisProcess();
    const ModelName name{texts_.manufacturer, texts_.model, texts_.version, location->url};
    auto known = store.find(name);
    if (!known) known = session.file;
    auto file = readDescription(camera, *location, known);
    if (!file) return false;
    session.file = file = store.keep(name, std::move(file));
    if (!session.model || session.model->description() != file->description)
        session.model = store.lend(*file);
    connection.model = session.model;
    return connection.model != nullptr;
}

bool GigeCamera::learn(Session& session, const std::shared_ptr<Connection>& connection) {
    ControlChannel& channel = *connection->channel;
    std::uint32_t capability = 0;
    if (!channel.readRegister(Gvcp::Register::kCapability, capability)) return false;
    connection->canResend = (capability & Gvcp::kCapabilityResend) != 0;
    if (!takeModel(session, *connection)) return false;
    connection->features = makeFeatures(session, connection);
    const auto onEvent = [self = weak_from_this()](const std::vector<std::string>& names) {
        if (const auto camera = self.lock()) camera->postUpdates(names);
    };
    connection->poller = std::make_unique<FeaturePoller>(onEvent);
    const auto featuresOf = [layout = connection->model->layout()](std::uint32_t eventId) {
        return layout->eventFeatures(eventId);
    };
    connection->messages = MessageChannel::open(
        channel, {connection->location.via.address, connection->location.address, featuresOf,
                  connection->eventData, onEvent});
    return connection->messages != nullptr;
}

std::shared_ptr<Features> GigeCamera::makeFeatures(const Session& session,
                                                   const std::shared_ptr<Connection>& connection) {
    FeatureSources sources;
    sources.camera = connection->port;
    sources.model = connection->model;
    sources.events = connection->eventData;
    sources.stream = streamCounters_;
    sources.settings = session.settings;
    const std::weak_ptr<Connection> kept = connection;
    // Writing is what applications do most: nobody's thread is woken for nothing.
    sources.onChanged = [self = weak_from_this(), kept](const std::vector<std::string>& names) {
        const auto watched = kept.lock();
        const auto camera = self.lock();
        if (camera && watched && watched->isWatched) camera->postUpdates(names);
    };
    sources.onListed = [kept] {
        const auto listed = kept.lock();
        if (!listed) return;
        listed->isWatched = true;
        startPolling(*listed);
    };
    return std::make_shared<Features>(std::move(sources));
}

void GigeCamera::startPolling(Connection& connection) {
    if (!connection.poller) return;
    const auto readText = [features = connection.features](const std::string& name,
                                                           std::string& text) {
        return features->getText(name, text);
    };
    connection.poller->start(connection.features->polled(), readText);
}

void GigeCamera::postUpdates(const std::vector<std::string>& names) {
    events_.postUpdates({names.begin(), names.end()});
}

std::shared_ptr<Features> GigeCamera::features() const {
    const auto current = onlineConnection();
    return current ? current->features : nullptr;
}

std::shared_ptr<RegisterPort> GigeCamera::registers() const {
    const auto current = onlineConnection();
    return current ? current->port : nullptr;
}

bool GigeCamera::disConnect() {
    interruptRecovery();
    const std::lock_guard lock(connectMutex_);
    endSession();
    if (const auto last = exchangeConnection(nullptr)) last->close();
    return true;
}

bool GigeCamera::downloadGenICamXML(const char* path) {
    if (path == nullptr || *path == '\0')
        return fail(Error::invalidArgument, "there is no path to write the description to");
    const auto current = onlineConnection();
    return current && writeFile(path, current->model->description()->text());
}

int GigeCamera::saveDeviceConfig(const char* path) {
    const auto all = features();
    if (all && saveConfiguration(*all, key_, path ? path : "")) return 0;
    GIGE_LOG(kWarning, "the configuration is not saved, key=[%s]: %s", getKey(),
             lastErrorMessage().c_str());
    return Infra::getLastError();
}

int GigeCamera::loadDeviceConfig(const char* path, Infra::CString& errors) {
    std::vector<std::string> refusals;
    const auto all = features();
    if (all && loadConfiguration(*all, path ? path : "", refusals)) return 0;
    if (refusals.empty()) {
        GIGE_LOG(kWarning, "the configuration is not loaded, key=[%s]: %s", getKey(),
                 lastErrorMessage().c_str());
    }
    std::string lines;
    for (const std::string& refusal : refusals) {
        GIGE_LOG(kWarning, "the camera does not take a setting, key=[%s]: %s", getKey(),
                 refusal.c_str());
        lines += refusal + "\n";
    }
    errors = Infra::CString(std::move(lines));
    return Infra::getLastError();
}

bool GigeCamera::forceIpAddress(const char* ip, const char* mask, const char* gateway) {
    const auto newAddress = Ipv4::parse(ip ? ip : "");
    const auto newMask = Ipv4::parse(mask ? mask : "");
    const auto newGateway = Ipv4::parse(gateway ? gateway : "");
    if (!newAddress || !isHostAddress(*newAddress))
        return fail(Error::invalidArgument, "the IP address is not one that a camera can have");
    if (!newMask || !isMask(*newMask))
        return fail(Error::invalidArgument, "the subnet mask is malformed");
    if (!newGateway) return fail(Error::invalidArgument, "the gateway is malformed");
    if (texts_.mac.isZero())
        return fail(Error::notSupported, "the camera has no MAC address to call it by");
    if (isOnline()) return fail(Error::refused, "the camera is connected");
    const HostInterface via = location().via;
    const bool acknowledged = sendForceIp(via, texts_.mac, *newAddress, *newMask, *newGateway);
    if (!acknowledged && Infra::getLastError() != static_cast<int>(Error::timeout)) return false;
    // A camera may restart its network before it acknowledges; its next answer decides.
    const KeepLastError whyNot;
    if (const auto found = findAgain(via, identityOf(texts_), *newAddress, kReadyAfterForceIp)) {
        relocate(*found);
        return true;
    }
    if (!acknowledged) return false;
    const std::lock_guard lock(mutex_);
    location_ = {*newAddress, *newMask, *newGateway, via, false};
    return true;
}

int GigeCamera::accessPermission() const {
    auto channel = [this]() -> std::shared_ptr<ControlChannel> {
        const auto current = connection();
        if (current && current->channel->isOnline()) return current->channel;
        const CameraLocation where = location();
        if (!where.isValid()) {
            setLastError(Error::notReachable, where.validity());
            return nullptr;
        }
        return ControlChannel::open(where.via.address, where.address);
    }();
    std::uint32_t privilege = 0;
    if (!channel || !channel->readRegister(Gvcp::Register::kControlPrivilege, privilege))
        return kPermissionUnknown;
    return permissionOf(privilege);
}

}  // namespace Vorda::Gige
