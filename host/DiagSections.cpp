#include "DiagSections.h"

#include "FileHash.h"
#include "LogFolder.h"
#include "WindowsError.h"
#include "WindowsFiles.h"
#include "config/SignaturePolicy.h"
#include "config/SysConfigManager.h"
#include "lifecycle/Locations.h"
#include "plugin/DriverTable.h"
#include "util/RegKey.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>

namespace steward::host {

namespace {

using tools::Json;

constexpr size_t kLastLines = 200;

std::string HexOf(const std::vector<BYTE>& data) {
    std::string text;
    for (const BYTE byte : data) {
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return text;
}

Json ValueAsJson(DWORD type, const std::vector<BYTE>& data) {
    const auto* const units = reinterpret_cast<const wchar_t*>(data.data());
    switch (type) {
    case REG_DWORD:
        return data.size() == sizeof(DWORD) ? Json(*reinterpret_cast<const DWORD*>(data.data())) : Json();
    case REG_SZ:
    case REG_EXPAND_SZ: {
        const std::wstring text(units, data.size() / sizeof(wchar_t));
        return Utf8FromWide(text.substr(0, text.find(L'\0')));
    }
    default:
        return HexOf(data);
    }
}

Json ValuesOf(const RegKey& key) {
    Json values = Json::object();
    constexpr DWORD kLongestName = 16384;
    constexpr DWORD kMostBytes = 4096; // of a value that is worth showing
    std::wstring name(kLongestName, L'\0');
    std::vector<BYTE> data(kMostBytes);
    for (DWORD i = 0;; ++i) {
        DWORD nameUnits = kLongestName;
        DWORD bytes = kMostBytes;
        DWORD type = 0;
        const LONG status =
            RegEnumValueW(key.Get(), i, name.data(), &nameUnits, nullptr, &type, data.data(), &bytes);
        if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) {
            return values;
        }
        const bool isWhole = status == ERROR_SUCCESS;
        values[Utf8FromWide(std::wstring(name, 0, isWhole ? nameUnits : wcslen(name.c_str())))] =
            isWhole ? ValueAsJson(type, {data.begin(), data.begin() + bytes}) : Json("too long to be shown");
    }
}

std::wstring NewestLog() {
    wchar_t file[1024] = {};
    const DWORD length =
        GetEnvironmentVariableW(L"TRACESINK_FILE", file, static_cast<DWORD>(std::size(file)));
    if (length > 0 && length < std::size(file) && _wcsicmp(file, L"NUL") != 0) {
        return file;
    }
    const std::vector<std::wstring> logs = LogsInFolder();
    return logs.empty() ? std::wstring() : LogFolder() + logs.back();
}

} // namespace

Json RegisteredServices() {
    Json services = Json::object();
    for (const DriverRow& row : DriverTable) {
        RegKey key;
        const std::wstring path = DriverServiceKey(row.name);
        const bool isThere = key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ) == ERROR_SUCCESS;
        services[Utf8FromWide(row.name)] = isThere ? ValuesOf(key) : Json();
    }
    return services;
}

Json FilesByHash(const std::vector<std::wstring>& paths) {
    Json files = Json::array();
    for (const std::wstring& path : paths) {
        const tools::FileHash hash = tools::HashOf(path);
        const auto identity = tools::IdentityOf(path);
        const bool isRead = !hash.digits.empty();
        files.push_back({{"path", Utf8FromWide(path)},
                         {"version", identity ? Json(identity->version) : Json()},
                         {"hash", isRead ? Json(hash.algorithm + " " + hash.digits) : Json()},
                         {"problem", isRead ? Json() : Json(tools::SystemMessage(hash.error))}});
    }
    return files;
}

Json MovesAtRestartAsJson() {
    Json moves = Json::array();
    for (const tools::PendingMove& move : tools::MovesAtRestart()) {
        moves.push_back({{"from", Utf8FromWide(move.from)},
                         {"to", move.to.empty() ? Json() : Json(Utf8FromWide(move.to))}});
    }
    return moves;
}

Json ConfigurationAsJson() {
    std::wstring folder;
    if (!ReadPlatformFolder(folder)) {
        return {{"problem", "the registry does not tell the platform's folder"}};
    }
    SysConfigManager manager(folder, kSysConfigFileName);
    std::vector<SysConfig> list;
    const bool isRead = manager.Load() && manager.ListAllSysConfig(list) == SYSCONFIG_SUCCESS;
    manager.Unload();
    Json entries = Json::array();
    for (const SysConfig& config : list) {
        const bool isSecret = SysConfigManager::IsPasswordTypeConfig(config.name);
        entries.push_back({{"group", Utf8FromWide(config.group)},
                           {"key", Utf8FromWide(config.name)},
                           {"value", isSecret ? "***" : Utf8FromWide(config.value)}});
    }
    Json json = {{"folder", Utf8FromWide(folder)}, {"entries", std::move(entries)}};
    json["problem"] = isRead ? Json() : Json("it is missing, cannot be decrypted or is empty");
    return json;
}

Json LastLogLines() {
    const std::wstring file = NewestLog();
    if (file.empty()) {
        return nullptr;
    }
    const std::string text = tools::ContentOf(file).value_or("");
    size_t start = text.size();
    for (size_t lines = 0; start > 0 && lines <= kLastLines; ++lines) {
        start = text.rfind('\n', start - 1);
        start = start == std::string::npos ? 0 : start;
    }
    Json lines = Json::array();
    for (start += start == 0 ? 0 : 1; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const bool hasReturn = end > start && text[end - 1] == '\r';
        lines.push_back(text.substr(start, end - start - (hasReturn ? 1 : 0)));
        start = end + 1;
    }
    return {{"file", Utf8FromWide(file)}, {"lines", std::move(lines)}};
}

} // namespace steward::host
