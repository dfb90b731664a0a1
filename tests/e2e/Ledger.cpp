#include "e2e/Ledger.h"

#include <wincrypt.h>
#include <wintrust.h>

#include <algorithm>
#include <string>
#include <vector>

namespace steward::test {

namespace {

const struct {
    const char* what;
    const char* closer;
    std::vector<const char*> openers;
} kEntries[] = {{"heap block", "free", {"malloc", "calloc", "realloc"}},
                {"registry key", "RegCloseKey", {"RegOpenKeyExW", "RegCreateKeyExW"}},
                {"service handle", "CloseServiceHandle", {"OpenSCManagerW", "OpenServiceW"}},
                {"provider", "CryptReleaseContext", {"CryptAcquireContextW"}},
                {"hash", "CryptDestroyHash", {"CryptCreateHash"}},
                {"key", "CryptDestroyKey", {"CryptDeriveKey"}},
                {"message", "CryptMsgClose", {"CryptQueryObject"}},
                {"certificate", "CertFreeCertificateContext", {"CertFindCertificateInStore"}},
                {"SID", "FreeSid", {"AllocateAndInitializeSid"}},
                {"library", "FreeLibrary", {"LoadLibraryW"}}};

// The state of a verification is opened and closed by the same function.
int TrustStates(const Tap::Call& call, uint64_t status) {
    const auto& data = *reinterpret_cast<const WINTRUST_DATA*>(call.arguments[2]);
    if (data.dwStateAction == WTD_STATEACTION_VERIFY) {
        return static_cast<LONG>(status) == ERROR_SUCCESS || data.hWVTStateData != nullptr ? 1 : 0;
    }
    return data.dwStateAction == WTD_STATEACTION_CLOSE ? -1 : 0;
}

// The registry answers a status, the others a pointer, a handle or a boolean.
bool Opened(const std::string& import, const Tap::Call& call, uint64_t answer) {
    const bool wasThere = import == "realloc" && call.arguments[0] != 0;
    return !wasThere && (import.starts_with("Reg") ? static_cast<LONG>(answer) == 0 : answer != 0);
}

} // namespace

Ledger::Ledger(HMODULE module) {
    for (const Import& import : ImportsOf(module)) {
        for (const auto& entry : kEntries) {
            const bool closes = import.name == entry.closer;
            if (closes || std::ranges::count(entry.openers, import.name) > 0) {
                taps_.push_back(std::make_unique<Tap>(module, import.name, [=, this](const Tap::Call& call) {
                    const uint64_t answer = call.Run();
                    const bool counts = closes ? call.arguments[0] != 0 // free(nullptr) closes nothing
                                               : Opened(import.name, call, answer);
                    open_[entry.what] += !counts ? 0 : closes ? -1 : 1;
                    return answer;
                }));
            }
        }
    }
    taps_.push_back(std::make_unique<Tap>(module, "WinVerifyTrust", [this](const Tap::Call& call) {
        const uint64_t status = call.Run();
        open_["trust state"] += TrustStates(call, status);
        return status;
    }));
}

std::map<std::string, int> Ledger::Open() const {
    auto open = open_;
    std::erase_if(open, [](const auto& entry) { return entry.second == 0; });
    return open;
}

} // namespace steward::test
