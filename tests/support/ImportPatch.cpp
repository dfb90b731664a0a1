#include "support/ImportPatch.h"

namespace steward::test {

void** FindImportSlot(HMODULE module, const char* name) {
    auto* const base = reinterpret_cast<std::byte*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; entry->u1.AddressOfData != 0; ++entry, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL64(entry->u1.Ordinal)) {
                continue;
            }
            const auto* const import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + entry->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(&import->Name), name) == 0) {
                return slot;
            }
        }
    }
    throw std::runtime_error(std::string("the module does not import ") + name);
}

void* ExchangeImport(void** slot, void* function) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    void* const before = std::exchange(*slot, function);
    VirtualProtect(slot, sizeof *slot, protection, &protection);
    return before;
}

} // namespace steward::test
