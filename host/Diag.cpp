#include "Diag.h"

#include "DiagSections.h"
#include "WindowsError.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include "setupKit.h"

#include <windows.h>

#include <stdexcept>

namespace steward::host {

namespace {

using tools::Json;

std::string Now() {
    SYSTEMTIME now;
    GetSystemTime(&now);
    char text[32];
    wsprintfA(text, "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
              now.wSecond);
    return text;
}

std::vector<std::wstring> FilesOf(const tools::PackageView& package) {
    std::vector<std::wstring> paths;
    for (const tools::PackageDriver& driver : package.drivers) {
        paths.insert(paths.end(), {driver.inf.path, driver.sys.path, driver.cat.path});
    }
    return paths;
}

// The drivers' images and catalogs, by Windows' own word for its folder: setupKit.dll may be missing.
std::vector<std::wstring> InstalledFiles() {
    std::wstring system(MAX_PATH, L'\0');
    system.resize(GetSystemDirectoryW(system.data(), MAX_PATH));
    std::vector<std::wstring> paths;
    for (const DriverRow& row : DriverTable) {
        paths.push_back(system + L"\\drivers\\" + row.name + L".sys");
        paths.push_back(system + L"\\CatRoot\\{F750E6C3-38EE-11D1-85E5-00C04FC295EE}\\" + row.name + L".cat");
    }
    return paths;
}

bool IsScalar(const Json& json) {
    return !json.is_structured() || json.empty();
}

std::string Scalar(const Json& json) {
    if (json.is_string()) {
        const std::string dumped = json.dump(-1, ' ', false, Json::error_handler_t::replace);
        return json.get_ref<const std::string&>().find_first_of("\r\n\t\x1b") == std::string::npos
                   ? json.get<std::string>()
                   : dumped;
    }
    return json.is_boolean() ? (json.get<bool>() ? "yes" : "no")
           : json.is_null()  ? "-"
           : json.empty()    ? "none"
                             : json.dump();
}

void AddText(const Json& json, const std::string& indent, std::string& text) {
    for (const auto& [key, value] : json.items()) {
        const std::string name = json.is_array() ? "-" : key + ":";
        if (IsScalar(value)) {
            text += indent + name + " " + Scalar(value) + "\n";
        } else {
            text += indent + name + "\n";
            AddText(value, indent + "    ", text);
        }
    }
}

} // namespace

Json Diagnosis(const CommandLine& line, const AnswerHead& head) {
    Json json = BeginAnswer(head);
    json["made"] = Now();
    AddMachine(tools::LookAtMachine(), json);
    json["services"] = RegisteredServices();
    json["files"] = FilesByHash(InstalledFiles());
    json["package"] = nullptr;
    if (!line.package.empty()) {
        const tools::PackageView package = tools::LookIntoPackage(line.package);
        json["package"] = JsonOfPackage(package);
        json["package"]["files"] = FilesByHash(FilesOf(package));
    }
    json["movesAtRestart"] = MovesAtRestartAsJson();
    json["configuration"] = ConfigurationAsJson();
    json["log"] = LastLogLines();
    return json;
}

std::string TextOf(const Json& json) {
    std::string text;
    AddText(json, "", text);
    return text;
}

void WriteDiagnosis(const std::wstring& path, const std::string& text) {
    const FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
        written != text.size()) {
        throw std::runtime_error("the file " + Utf8FromWide(path) +
                                 " cannot be written: " + tools::SystemMessage(GetLastError()));
    }
}

} // namespace steward::host
