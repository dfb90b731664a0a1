#include "util/RegKey.h"

#include "util/LastError.h"

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace steward {

RegKey::~RegKey() {
    const LastErrorKeeper keeper;
    Close();
}

LONG RegKey::Close() {
    return key_ == nullptr ? ERROR_SUCCESS : RegCloseKey(std::exchange(key_, nullptr));
}

LONG RegKey::Adopt(HKEY key) {
    const LONG status = Close();
    key_ = key;
    return status;
}

LONG RegKey::Create(HKEY parent, const wchar_t* subkey, wchar_t* keyClass, DWORD options, REGSAM access,
                    SECURITY_ATTRIBUTES* security, DWORD* disposition) {
    HKEY key = nullptr;
    DWORD created = 0;
    const LONG status =
        RegCreateKeyExW(parent, subkey, 0, keyClass, options, access, security, &key, &created);
    if (disposition != nullptr) {
        *disposition = created;
    }
    return status == ERROR_SUCCESS ? Adopt(key) : status;
}

LONG RegKey::Open(HKEY parent, const wchar_t* subkey, REGSAM access) {
    HKEY key = nullptr;
    LONG status = RegOpenKeyExW(parent, subkey, 0, access | KEY_WOW64_64KEY, &key);
    if (status != ERROR_SUCCESS) {
        status = RegOpenKeyExW(parent, subkey, 0, access, &key);
    }
    return status == ERROR_SUCCESS ? Adopt(key) : status;
}

LONG RegKey::QueryDWORDValue(uint32_t& destination, const wchar_t* name) const {
    DWORD bytes = sizeof destination;
    return RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&destination), &bytes);
}

LONG RegKey::QueryQWORDValue(uint64_t& destination, const wchar_t* name) const {
    DWORD bytes = sizeof destination;
    return RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&destination), &bytes);
}

LONG RegKey::QueryStringValue(const wchar_t* name, std::wstring& destination) const {
    DWORD bytes = 0;
    LONG status = RegQueryValueExW(key_, name, nullptr, nullptr, nullptr, &bytes);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    // A terminator of our own: a stored text need not have one.
    const size_t units = bytes / sizeof(wchar_t) + 2;
    const std::unique_ptr<wchar_t[]> text(new (std::nothrow) wchar_t[units]());
    if (!text) {
        return ERROR_SUCCESS;
    }
    status = RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text.get()), &bytes);
    if (status == ERROR_SUCCESS) {
        destination = text.get();
    }
    return status;
}

LONG RegKey::QueryBinaryValue(const wchar_t* name, void* buffer, DWORD& bytes) const {
    const DWORD capacity = bytes;
    const LONG status = RegQueryValueExW(key_, name, nullptr, nullptr, nullptr, &bytes);
    if (status != ERROR_SUCCESS || capacity == 0) {
        return status;
    }
    if (capacity < bytes) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    if (buffer == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    bytes = capacity;
    return RegQueryValueExW(key_, name, nullptr, nullptr, static_cast<BYTE*>(buffer), &bytes);
}

LONG RegKey::SetDWORDValue(uint32_t value, const wchar_t* name) const {
    return SetValue(&value, name, REG_DWORD, sizeof value);
}

LONG RegKey::SetQWORDValue(uint64_t value, const wchar_t* name) const {
    return SetValue(&value, name, REG_QWORD, sizeof value);
}

LONG RegKey::SetStringValue(const std::wstring& text, const wchar_t* name, DWORD type) const {
    return SetValue(text.c_str(), name, type, static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

LONG RegKey::SetValue(const void* data, const wchar_t* name, DWORD type, DWORD bytes) const {
    return RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), bytes);
}

LONG RegKey::DeleteValue(const wchar_t* name) const {
    return RegDeleteValueW(key_, name);
}

LONG RegKey::RecurseDeleteKey(const wchar_t* subkey) const {
    RegKey key;
    LONG status = key.Open(key_, subkey, KEY_ALL_ACCESS);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    wchar_t child[256];
    DWORD length = 256;
    // Always the first child: each deletion moves the rest up.
    while (RegEnumKeyExW(key.key_, 0, child, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        status = key.RecurseDeleteKey(child);
        if (status != ERROR_SUCCESS) {
            return status;
        }
        length = 256;
    }
    key.Close();
    return RegDeleteKeyW(key_, subkey);
}

// Names are taken by value: callers hand over what they have just built.
// NOLINTBEGIN(performance-unnecessary-value-param)
LONG CreateKeyAndSetString(HKEY root, std::wstring subkey, const std::wstring& text, std::wstring name) {
    RegKey key;
    const LONG status = key.Create(root, subkey.c_str(), nullptr, 0, KEY_ALL_ACCESS, nullptr);
    return status == ERROR_SUCCESS ? key.SetStringValue(text, name.c_str()) : status;
}

LONG CreateKeyAndSetDWORD(HKEY root, std::wstring subkey, uint32_t value, std::wstring name) {
    RegKey key;
    const LONG status = key.Create(root, subkey.c_str(), nullptr, 0, KEY_ALL_ACCESS, nullptr);
    return status == ERROR_SUCCESS ? key.SetDWORDValue(value, name.c_str()) : status;
}

LONG CreateKeyAndSetQWORD(HKEY root, std::wstring subkey, uint64_t value, std::wstring name) {
    RegKey key;
    const LONG status = key.Create(root, subkey.c_str(), nullptr, 0, KEY_ALL_ACCESS, nullptr);
    return status == ERROR_SUCCESS ? key.SetQWORDValue(value, name.c_str()) : status;
}

bool ReadHKLMDword(uint32_t& destination, std::wstring subkey, std::wstring name) {
    RegKey key;
    return key.Open(HKEY_LOCAL_MACHINE, subkey.c_str(), KEY_READ) == ERROR_SUCCESS &&
           key.QueryDWORDValue(destination, name.c_str()) == ERROR_SUCCESS;
}

bool ReadHKLMString(std::wstring& destination, std::wstring subkey, std::wstring name) {
    RegKey key;
    return key.Open(HKEY_LOCAL_MACHINE, subkey.c_str(), KEY_READ) == ERROR_SUCCESS &&
           key.QueryStringValue(name.c_str(), destination) == ERROR_SUCCESS;
}

// NOLINTEND(performance-unnecessary-value-param)

bool WriteHKLMDword(uint32_t value, std::wstring subkey, std::wstring name) {
    return CreateKeyAndSetDWORD(HKEY_LOCAL_MACHINE, std::move(subkey), value, std::move(name)) ==
           ERROR_SUCCESS;
}

bool WriteHKLMString(const std::wstring& text, std::wstring subkey, std::wstring name) {
    return CreateKeyAndSetString(HKEY_LOCAL_MACHINE, std::move(subkey), text, std::move(name)) ==
           ERROR_SUCCESS;
}

} // namespace steward
