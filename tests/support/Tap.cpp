#include "support/Tap.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace steward::test {

namespace {

constexpr size_t kEntries = 300;
std::array<Tap*, kEntries> taps;

// All integer and pointer arguments travel alike, and the caller clears the stack: twelve fit every function
// of up to twelve.
using Function = uint64_t (*)(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t,
                              uint64_t, uint64_t, uint64_t, uint64_t);
template <size_t Index>
uint64_t Entry(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h,
               uint64_t i, uint64_t j, uint64_t k, uint64_t l) {
    return taps[Index]->Answer({a, b, c, d, e, f, g, h, i, j, k, l});
}

template <size_t... Index> std::array<Function, kEntries> Entries(std::index_sequence<Index...>) {
    return {&Entry<Index>...};
}

} // namespace

std::vector<Import> ImportsOf(HMODULE module) {
    std::vector<Import> imports;
    auto* const base = reinterpret_cast<std::byte*>(module);
    const auto text = [base](auto offset) { return reinterpret_cast<const char*>(base + offset); };
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; entry->u1.AddressOfData != 0; ++entry, ++slot) {
            if (!IMAGE_SNAP_BY_ORDINAL64(entry->u1.Ordinal)) {
                const auto name = entry->u1.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name);
                imports.push_back({text(library->Name), text(name), slot});
            }
        }
    }
    return imports;
}

static void** FindImportSlot(HMODULE module, const std::string& name) {
    for (const Import& import : ImportsOf(module)) {
        if (import.name == name) {
            return import.slot;
        }
    }
    throw std::runtime_error("the module does not import " + name);
}

static void* ExchangeImport(void** slot, void* function) {
    DWORD protection = 0;
    VirtualProtect(static_cast<void*>(slot), sizeof *slot, PAGE_READWRITE, &protection);
    void* const before = std::exchange(*slot, function);
    VirtualProtect(static_cast<void*>(slot), sizeof *slot, protection, &protection);
    return before;
}

uint64_t Tap::Call::Run() const {
    const auto& [a, b, c, d, e, f, g, h, i, j, k, l] = arguments;
    return reinterpret_cast<Function>(function)(a, b, c, d, e, f, g, h, i, j, k, l);
}

Tap::Tap(HMODULE module, const std::string& import, Around around)
    : around_(std::move(around)), slot_(FindImportSlot(module, import)), original_(*slot_),
      entry_(std::find(taps.begin(), taps.end(), nullptr)) {
    static const auto entries = Entries(std::make_index_sequence<kEntries>());
    *entry_ = this;
    ExchangeImport(slot_, reinterpret_cast<void*>(entries.at(static_cast<size_t>(entry_ - taps.begin()))));
}

Tap::~Tap() {
    ExchangeImport(slot_, original_);
    *entry_ = nullptr;
}

} // namespace steward::test
