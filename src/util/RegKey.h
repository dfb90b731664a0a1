// The one road to the registry. Everything is tried in the 64-bit view first and then in the process's
// default view. Nothing is logged here. Status results are Win32 codes (0 = ERROR_SUCCESS); last-error is not
// a result.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace steward {

// Owns one open key, or none.
class RegKey {
  public:
    RegKey() = default;
    RegKey(const RegKey&) = delete;
    RegKey& operator=(const RegKey&) = delete;
    ~RegKey();

    LONG Close();

    // Both close the key held before and adopt the new one only when they succeed. `disposition` is stored
    // even when the creation fails.
    LONG Create(HKEY parent, const wchar_t* subkey, wchar_t* keyClass, DWORD options, REGSAM access,
                SECURITY_ATTRIBUTES* security, DWORD* disposition = nullptr);
    LONG Open(HKEY parent, const wchar_t* subkey, REGSAM access);

    // The stored type is not checked, only the size.
    LONG QueryDWORDValue(uint32_t& destination, const wchar_t* name) const;
    LONG QueryQWORDValue(uint64_t& destination, const wchar_t* name) const;
    // The text up to its first null character. Out of memory: 0, `destination` unchanged.
    LONG QueryStringValue(const wchar_t* name, std::wstring& destination) const;
    // `bytes` in: capacity, out: size of the data. Capacity 0 asks for the size only; too small a capacity
    // answers ERROR_NOT_ENOUGH_MEMORY, a null buffer ERROR_INVALID_PARAMETER.
    LONG QueryBinaryValue(const wchar_t* name, void* buffer, DWORD& bytes) const;

    LONG SetDWORDValue(uint32_t value, const wchar_t* name) const;
    LONG SetQWORDValue(uint64_t value, const wchar_t* name) const;
    LONG SetStringValue(const std::wstring& text, const wchar_t* name, DWORD type = REG_SZ) const;
    LONG SetValue(const void* data, const wchar_t* name, DWORD type, DWORD bytes) const;
    LONG DeleteValue(const wchar_t* name) const;

    // Deletes the subkey and everything beneath it; ends at the first failure.
    LONG RecurseDeleteKey(const wchar_t* subkey) const;

    [[nodiscard]] HKEY Get() const { return key_; }

  private:
    LONG Adopt(HKEY key);

    HKEY key_ = nullptr;
};

// One value, one call.
LONG CreateKeyAndSetString(HKEY root, std::wstring subkey, const std::wstring& text, std::wstring name);
LONG CreateKeyAndSetDWORD(HKEY root, std::wstring subkey, uint32_t value, std::wstring name);
LONG CreateKeyAndSetQWORD(HKEY root, std::wstring subkey, uint64_t value, std::wstring name);
bool ReadHKLMDword(uint32_t& destination, std::wstring subkey, std::wstring name);
bool ReadHKLMString(std::wstring& destination, std::wstring subkey, std::wstring name);
bool WriteHKLMDword(uint32_t value, std::wstring subkey, std::wstring name);
bool WriteHKLMString(const std::wstring& text, std::wstring subkey, std::wstring name);

} // namespace steward
