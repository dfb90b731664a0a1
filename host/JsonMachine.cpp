// The machine and a package as JSON.
#include "JsonOutput.h"

#include "util/Utf8.h"

namespace steward::host {

namespace {

using tools::Json;

template <typename Text> Json TextOrNull(const Text& text) {
    return text.empty() ? Json() : Json(text);
}

Json JsonOfSignature(const tools::SignatureView& signature) {
    constexpr const char* kKinds[] = {"none", "embedded", "catalog"};
    return {{"kind", kKinds[static_cast<size_t>(signature.kind)]}, {"signer", TextOrNull(signature.signer)}};
}

const char* NameOf(tools::Restriction restriction) {
    constexpr const char* kNames[] = {"unknown", "open", "restricted"};
    return kNames[static_cast<size_t>(restriction)];
}

const char* NameOf(tools::NextStart next) {
    constexpr const char* kNames[] = {"nothing",    "loads",        "loads-not",
                                      "is-removed", "file-missing", "unknown"};
    return kNames[static_cast<size_t>(next)];
}

Json JsonOfService(const tools::ServiceView& service) {
    return {{"installed", service.isInstalled},
            {"state", service.StateInWords()},
            {"start", TextOrNull(service.StartInWords())},
            {"markedForDeletion", service.isMarkedForDeletion},
            {"restriction", NameOf(service.restriction)},
            {"error", service.error == 0 ? Json() : Json(service.error)}};
}

Json JsonOfDriver(const tools::DriverView& driver) {
    const bool known = driver.loadedVersion && !driver.loadedVersion->empty();
    return {{"name", driver.name},
            {"service", JsonOfService(driver.service)},
            {"file", driver.hasFile ? Json(Utf8FromWide(driver.path)) : Json()},
            {"version", TextOrNull(driver.fileVersion)},
            {"signature", JsonOfSignature(driver.signature)},
            {"loaded", driver.isLoaded},
            {"loadedVersion", known ? Json(*driver.loadedVersion) : Json()},
            {"next", NameOf(driver.next)},
            {"nextVersion", TextOrNull(driver.nextVersion)},
            {"nextInWords", driver.NextInWords()}};
}

Json JsonOfFile(const tools::PackageFile& file) {
    return {{"path", Utf8FromWide(file.path)}, {"exists", file.exists}, {"bytes", file.bytes}};
}

Json JsonOfPackageDriver(const tools::PackageDriver& driver) {
    return {{"name", driver.name},
            {"inf", JsonOfFile(driver.inf)},
            {"sys", JsonOfFile(driver.sys)},
            {"cat", JsonOfFile(driver.cat)},
            {"infProblem", TextOrNull(driver.infProblem)},
            {"sysProblem", TextOrNull(driver.sysProblem)},
            {"section", TextOrNull(driver.section)},
            {"hasSection", driver.hasSection},
            {"hasUninstallSection", driver.hasUninstallSection},
            {"version", TextOrNull(driver.version)},
            {"signature", JsonOfSignature(driver.signature)}};
}

} // namespace

void AddMachine(const tools::MachineView& machine, Json& json) {
    json["windows"] = {{"version", machine.windows}, {"code", machine.windowsCode}};
    json["elevated"] = machine.isElevated;
    json["policy"] = {{"on", machine.policy.isOn},
                      {"why", machine.policy.why},
                      {"graceSeconds", machine.policy.graceSeconds}};
    json["sharedDriver"] = {{"holders", machine.shared.holders ? Json(*machine.shared.holders) : Json()},
                            {"installedByPlatform", machine.shared.isInstalledByPlatform},
                            {"clients", machine.shared.hasClients}};
    json["restartReasons"] = machine.restartReasons;
    json["drivers"] = Json::array();
    for (const tools::DriverView& driver : machine.drivers) {
        json["drivers"].push_back(JsonOfDriver(driver));
    }
}

Json JsonOfPackage(const tools::PackageView& package) {
    Json drivers = Json::array();
    for (const tools::PackageDriver& driver : package.drivers) {
        drivers.push_back(JsonOfPackageDriver(driver));
    }
    return {{"folder", Utf8FromWide(package.folder)},
            {"exists", package.exists},
            {"drivers", std::move(drivers)}};
}

} // namespace steward::host
