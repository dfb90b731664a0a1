#include "support/Fault.h"

#include "support/ImportPatch.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace steward::test {

namespace {

constexpr size_t kCodeBytes = 256;
constexpr size_t kFailureOffset = 128;

bool IsOneOf(const std::string& name, std::initializer_list<const char*> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// What the function answers when it fails.
uint64_t FailureOf(const std::string& import, DWORD error) {
    if (import.starts_with("Reg") || IsOneOf(import, {"GetNamedSecurityInfoW", "SetNamedSecurityInfoW",
                                                      "SetEntriesInAclW", "WinVerifyTrust"})) {
        return error;
    }
    return IsOneOf(import, {"CreateFileW", "GetFileAttributesW"}) ? ~uint64_t{0} : 0;
}

class Assembler {
  public:
    explicit Assembler(unsigned char* at) : at_(at) {}
    Assembler& Bytes(std::initializer_list<unsigned char> bytes) {
        at_ = std::copy(bytes.begin(), bytes.end(), at_);
        return *this;
    }
    Assembler& Immediate(const void* value) {
        std::memcpy(at_, &value, sizeof value);
        at_ += sizeof value;
        return *this;
    }

  private:
    unsigned char* at_;
};

} // namespace

Fault::Fault(HMODULE module, std::string import, DWORD error, int call)
    : import_(std::move(import)), error_(error), failingCall_(call),
      code_(static_cast<unsigned char*>(
          VirtualAlloc(nullptr, kCodeBytes, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE))),
      slot_(FindImportSlot(module, import_.c_str())), original_(*slot_) {
    Assembler entry(code_);
    entry.Bytes({0x48, 0x83, 0xEC, 0x48});       // sub rsp, 0x48
    entry.Bytes({0x48, 0x89, 0x4C, 0x24, 0x20}); // mov [rsp+0x20], rcx
    entry.Bytes({0x48, 0x89, 0x54, 0x24, 0x28}); // mov [rsp+0x28], rdx
    entry.Bytes({0x4C, 0x89, 0x44, 0x24, 0x30}); // mov [rsp+0x30], r8
    entry.Bytes({0x4C, 0x89, 0x4C, 0x24, 0x38}); // mov [rsp+0x38], r9
    entry.Bytes({0x48, 0xB9}).Immediate(this);   // mov rcx, fault
    entry.Bytes({0x48, 0x8D, 0x54, 0x24, 0x20}); // lea rdx, [rsp+0x20]
    entry.Bytes({0x48, 0xB8}).Immediate(reinterpret_cast<void*>(&Choose)).Bytes({0xFF, 0xD0}); // call Choose
    entry.Bytes({0x48, 0x8B, 0x4C, 0x24, 0x20, 0x48, 0x8B, 0x54, 0x24, 0x28});                 // restore
    entry.Bytes({0x4C, 0x8B, 0x44, 0x24, 0x30, 0x4C, 0x8B, 0x4C, 0x24, 0x38});
    entry.Bytes({0x48, 0x83, 0xC4, 0x48, 0xFF, 0xE0}); // add rsp, 0x48; jmp rax
    Assembler failure(code_ + kFailureOffset);
    failure.Bytes({0x48, 0xB8}).Immediate(reinterpret_cast<void*>(FailureOf(import_, error_)));
    failure.Bytes({0xC3}); // mov rax, failure; ret
    ExchangeImport(slot_, code_);
}

Fault::~Fault() {
    ExchangeImport(slot_, original_);
    VirtualFree(code_, 0, MEM_RELEASE);
}

void* Fault::Choose(Fault* fault, void** arguments) {
    ++fault->calls_;
    if (fault->failingCall_ != kEveryCall && fault->failingCall_ != fault->calls_) {
        return fault->original_;
    }
    if (fault->import_ == "Copy") { // hands its error out
        *static_cast<uint32_t*>(arguments[3]) = fault->error_;
    }
    SetLastError(fault->error_);
    return fault->code_ + kFailureOffset;
}

} // namespace steward::test
