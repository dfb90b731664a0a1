#include "e2e/Plugin.h"

#include "support/Fault.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <regex>
#include <stdexcept>

namespace steward::test {

namespace {

template <typename Function> Function Export(HMODULE module, const char* name) {
    auto* const address = reinterpret_cast<void*>(GetProcAddress(module, name));
    if (address == nullptr) {
        throw std::runtime_error(std::string("driverSteward.dll does not export ") + name);
    }
    return reinterpret_cast<Function>(address);
}

bool IsPredefined(HKEY key) {
    return (reinterpret_cast<uintptr_t>(key) & 0x80000000U) != 0;
}

} // namespace

Plugin::PredefinedKeyWatch::PredefinedKeyWatch(HMODULE module)
    : open(module,
           [this](HKEY parent, LPCWSTR subkey, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
               if (IsPredefined(parent) && (subkey == nullptr || *subkey == L'\0')) {
                   *key = parent;
                   return ERROR_SUCCESS;
               }
               return open.Original(parent, subkey, options, access, key);
           }),
      close(module, [this](HKEY key) -> LSTATUS {
          EXPECT_FALSE(IsPredefined(key)) << "the plug-in closes a predefined key";
          return IsPredefined(key) ? ERROR_SUCCESS : close.Original(key);
      }) {}

Plugin::Plugin() : module_(LoadLibraryW(L"driverSteward.dll")) {
    if (module_ == nullptr) {
        throw std::runtime_error("driverSteward.dll cannot be loaded");
    }
    doAction_ = Export<DriversDoActionFunction>(module_, "Plugin_Interface_DriversDoAction");
    enumerate_ = Export<EnumerateDriversInfoFunction>(module_, "Plugin_Interface_EnumerateDriversInfo");
    for (const Import& import : ImportsOf(module_)) {
        if (IsCloser(import.name)) {
            closers_.push_back(std::make_unique<Tap>(module_, import.name, [](const Tap::Call& call) {
                const uint64_t answer = call.Run();
                SetLastError(0xDEAD);
                return answer;
            }));
        }
    }
    capture_ = std::make_unique<LogCapture>(module_);
    keys_.emplace(module_);
}

Plugin::~Plugin() {
    keys_.reset();
    capture_.reset();
    closers_.clear();
    FreeLibrary(module_);
}

uint32_t Plugin::Act(uint32_t action, const std::wstring& folder, uint32_t compareState) {
    const DrvInfo record = Record(action, folder, compareState);
    return doAction_(&record, 1);
}

DriverStateReport Plugin::Report(DriverStateCallback callback) {
    DriverStateReport report{};
    const auto copy = [](const DriverStateReport* made, void* context) -> uint32_t {
        *static_cast<DriverStateReport*>(context) = *made;
        return 0xFFFFFFFF; // ignored
    };
    enumerate_(callback == nullptr ? copy : callback, &report);
    return report;
}

Transcript Plugin::Log() {
    static const std::regex temporary("qx[cea][0-9a-f]{1,4}\\.tmp");
    static const std::regex fallback("(qxcomm|qxevtmgr|qxactmon)[0-9A-F]{4}\\.tmp");
    Transcript lines = capture_->Take();
    for (std::string& line : lines) {
        line = std::regex_replace(line, temporary, "<temporary>");
        line = std::regex_replace(line, fallback, "<$1 and four digits>");
    }
    return lines;
}

std::wstring Package(const std::wstring& name) {
    const wchar_t* const packages = _wgetenv(L"STEWARD_PACKAGES");
    if (packages == nullptr) {
        throw std::runtime_error("STEWARD_PACKAGES names no folder; start this through lab/lab.sh");
    }
    return std::wstring(packages) + L"\\" + name + L"\\";
}

DrvInfo Record(uint32_t action, const std::wstring& folder, uint32_t compareState) {
    DrvInfo record{};
    record.header = 0xABCD1234;
    record.action = action;
    record.compare_state = compareState;
    std::copy_n(folder.begin(), std::min<size_t>(folder.size(), DRV_INFO_PATH_UNITS), record.path);
    return record;
}

} // namespace steward::test
