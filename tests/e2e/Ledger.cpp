#include "e2e/Ledger.h"

#include <wincrypt.h>
#include <wintrust.h>

#include <set>

namespace steward::test {

namespace {

enum When { NotZero, Zero, Closes };

const struct {
    const char* import;
    const char* what;
    When when; // an answer of that kind opens one
} kEntries[] = {{"malloc", "heap block", NotZero},
                {"calloc", "heap block", NotZero},
                {"realloc", "heap block", NotZero}, // of none
                {"free", "heap block", Closes},
                {"RegOpenKeyExW", "registry key", Zero},
                {"RegCreateKeyExW", "registry key", Zero},
                {"RegCloseKey", "registry key", Closes},
                {"OpenSCManagerW", "service handle", NotZero},
                {"OpenServiceW", "service handle", NotZero},
                {"CloseServiceHandle", "service handle", Closes},
                {"CryptAcquireContextW", "provider", NotZero},
                {"CryptReleaseContext", "provider", Closes},
                {"CryptCreateHash", "hash", NotZero},
                {"CryptDestroyHash", "hash", Closes},
                {"CryptDeriveKey", "key", NotZero},
                {"CryptDestroyKey", "key", Closes},
                {"CryptQueryObject", "message", NotZero},
                {"CryptMsgClose", "message", Closes},
                {"CertFindCertificateInStore", "certificate", NotZero},
                {"CertFreeCertificateContext", "certificate", Closes},
                {"AllocateAndInitializeSid", "SID", NotZero},
                {"FreeSid", "SID", Closes},
                {"LoadLibraryW", "library", NotZero},
                {"FreeLibrary", "library", Closes}};

// The state of a verification is opened and closed by the same function.
int TrustStates(const Tap::Call& call, uint64_t status) {
    const auto& data = *reinterpret_cast<const WINTRUST_DATA*>(call.arguments[2]);
    if (data.dwStateAction == WTD_STATEACTION_VERIFY) {
        return static_cast<LONG>(status) == ERROR_SUCCESS || data.hWVTStateData != nullptr ? 1 : 0;
    }
    return data.dwStateAction == WTD_STATEACTION_CLOSE ? -1 : 0;
}

// A pointer or a handle; of the other functions a boolean.
bool Opened(const std::string& import, uint64_t answer, bool ofNothing) {
    if (import == "realloc" && !ofNothing) {
        return false; // the block was there
    }
    return answer != 0;
}

} // namespace

Ledger::Ledger(HMODULE module) {
    std::set<std::string> imported;
    for (const Import& import : ImportsOf(module)) {
        imported.insert(import.name);
    }
    for (const auto& entry : kEntries) {
        if (imported.contains(entry.import)) {
            taps_.push_back(
                std::make_unique<Tap>(module, entry.import, [this, &entry](const Tap::Call& call) {
                    const uint64_t answer = call.Run();
                    const bool ofNothing = call.arguments[0] == 0; // free(nullptr) closes nothing
                    if (entry.when == Closes) {
                        open_[entry.what] -= ofNothing ? 0 : 1;
                    } else if (entry.when == Zero ? static_cast<LONG>(answer) == 0
                                                  : Opened(entry.import, answer, ofNothing)) {
                        ++open_[entry.what];
                    }
                    return answer;
                }));
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
