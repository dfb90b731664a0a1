#include "service/drvinstance.h"

#include "util/Handles.h"
#include "util/Log.h"

#include <cstdint>
#include <cwchar>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"drvinstance.cpp"};

constexpr int kInstances = 16;
constexpr size_t kSlotNameUnits = 260;
constexpr size_t kLongestDriverName = 230; // leaves room for the rest of the mailslot name

bool IsInstanceAlive(const wchar_t* name, int instance) {
    wchar_t slot[kSlotNameUnits];
    wsprintfW(slot, L"\\\\.\\mailslot\\%ws_INSTANCE%d", name, instance);
    const FileHandle mailslot(CreateFileW(slot, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(mailslot);
}

} // namespace

bool CanStopDriverService(const wchar_t* name) {
    if (std::wcslen(name) > kLongestDriverName) {
        return true; // no mailslot can have such a name
    }
    uint32_t count = 0;
    for (int instance = 0; instance < kInstances; ++instance) {
        count += IsInstanceAlive(name, instance) ? 1 : 0;
    }
    if (count == 0) {
        return true;
    }
    STEWARD_LOG(5, count, L" driver instance(s) found");
    return false;
}

} // namespace steward
