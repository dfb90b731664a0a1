#include "CallWords.h"

#include <charconv>
#include <cstdint>

namespace steward::tools {

namespace {

enum class Meaning { Code, Truth, ZeroIsSuccess, Ready };

struct ResultLabel {
    std::string_view label;
    Meaning meaning;
};

constexpr ResultLabel kResultLabels[] = {
    {"asStatus = ", Meaning::Code},
    {"bRet = ", Meaning::Truth},
    {" bRet=", Meaning::Truth},
    {"bResult: ", Meaning::Truth},
    {"bResult = ", Meaning::Truth},
    {"Is Service Ok: ", Meaning::Truth},
    {"dwRet=", Meaning::ZeroIsSuccess},
    {"Return ", Meaning::Truth},
    {"m_bIsConfigReady = ", Meaning::Ready},
};

uint32_t NumberIn(std::string_view text) {
    const bool hex = text.starts_with("0x");
    text.remove_prefix(hex ? 2 : 0);
    uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    return value;
}

CallResult ResultOf(std::string_view value, Meaning meaning) {
    const bool isTrue = NumberIn(value) != 0 || value == "true";
    switch (meaning) {
    case Meaning::Code:
        return {std::string(value), (NumberIn(value) & 0x80000000U) != 0};
    case Meaning::ZeroIsSuccess:
        return isTrue ? CallResult{std::string(value), true} : CallResult{"ok"};
    case Meaning::Ready: // without a configuration the policy is off, which is no failure
        return {isTrue ? "ready" : "not ready"};
    case Meaning::Truth:
        break;
    }
    return isTrue ? CallResult{"ok"} : CallResult{"failed", true};
}

CallResult SignatureResult(std::string_view text) {
    if (!text.starts_with("Yes")) {
        return {"not signed", true};
    }
    const std::string_view signer = Behind(text, "Yes, Signer Name = ");
    return {"signed by " + std::string(signer.substr(0, signer.rfind(", iRet = ")))};
}

std::string_view FileName(std::string_view path) {
    return path.substr(path.find_last_of("\\/") + 1); // npos + 1 is 0
}

} // namespace

std::string_view Behind(std::string_view text, std::string_view label) {
    return text.starts_with(label) ? text.substr(label.size()) : std::string_view();
}

std::string DetailOf(std::string_view function, std::string_view arguments) {
    if (function == "DoActionFromDrvInfo") {
        return "action " + std::to_string(NumberIn(Behind(arguments, "rDrvInfo.action = ")));
    }
    if (function == "WaitForServiceState") { // its line does not say for whom
        return "";
    }
    if (function == "SysConfigManager::SetSysConfig") { // the last argument is the value, a password perhaps
        return "";
    }
    const size_t labelEnd = arguments.find_first_of("=:");
    if (labelEnd == std::string_view::npos) {
        return "";
    }
    std::string_view value = arguments.substr(labelEnd + 1);
    value.remove_prefix(value.starts_with(' ') ? 1 : 0);
    return std::string(FileName(value.substr(0, value.find(", "))));
}

CallResult ResultOf(std::string_view text) {
    if (text.starts_with("Is signed? ")) {
        return SignatureResult(Behind(text, "Is signed? "));
    }
    if (text.starts_with("Driver file not signed!")) {
        return {std::string(text), true};
    }
    if (const size_t exists = text.rfind(" exists"); exists != std::string_view::npos) {
        return {"exists"};
    }
    if (text.ends_with(" does not exist")) {
        return {"does not exist"};
    }
    for (const auto& [label, meaning] : kResultLabels) {
        if (text.starts_with(label)) {
            return ResultOf(Behind(text, label), meaning);
        }
    }
    return {std::string(text)};
}

} // namespace steward::tools
