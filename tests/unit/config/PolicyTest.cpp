#include "config/SignaturePolicy.h"

#include "ConfigFolder.h"
#include "support/ImportPatch.h"

#include <gmock/gmock.h>

#include <functional>

namespace steward::test {
namespace {

std::string Config(const std::string& value) {
    return "<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>" + value +
           "</ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL></SysConfigManager>";
}

// Runs with the stack of an ordinary thread of a Windows host.
bool QueryOnSmallStack(const std::wstring& folder) {
    struct Query {
        const std::wstring& folder;
        bool answer;
    } query{folder, false};
    const HANDLE thread = CreateThread(
        nullptr, 1 << 20,
        [](void* context) -> DWORD {
            auto* const q = static_cast<Query*>(context);
            q->answer = QuerySignaturePolicySetting(SP_MODULE_LOAD, q->folder.c_str());
            return 0;
        },
        &query, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return query.answer;
}

std::string Repeated(const std::string& text, size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    for (size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(Policy, EverySettingHasItsKeyAndOthersAreOff) {
    const ConfigFolder folder;
    folder.WriteConfig(
        "<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_RESTART_ND_REVERT>1</ORPL_CFG_SP_RESTART_ND_REVERT>"
        "<ORPL_CFG_SP_MAIN_OBJECTIVE>1</ORPL_CFG_SP_MAIN_OBJECTIVE></ORPL_ALL></SysConfigManager>");
    const auto query = [&](uint32_t setting) {
        return QuerySignaturePolicySetting(setting, folder.Path().c_str());
    };
    EXPECT_TRUE(query(0x0FF10001));
    EXPECT_FALSE(query(0x0FF10002));
    EXPECT_TRUE(query(0x0FF10003));
    const ImportPatch<"CreateFileW", decltype(CreateFileW)> create(GetModuleHandleW(nullptr), [](auto...) {
        ADD_FAILURE() << "an unknown setting opens the file";
        return INVALID_HANDLE_VALUE;
    });
    EXPECT_FALSE(query(0));
    EXPECT_FALSE(query(0x0FF10004));
}

// A crash, an endless loop or exhausted memory on a hostile configuration.
TEST(Policy, HostileConfigurationsAreOffOrReadForWhatTheyHold) {
    std::string attributes;
    for (int i = 0; i < 10'000; ++i) {
        attributes += " a" + std::to_string(i) + "='<'";
    }
    const std::string on = Config("1");
    const std::string tail = on.substr(on.find("<ORPL_ALL>"));
    const std::string utf8 = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n";
    struct {
        const char* name;
        std::function<std::string()> text;
        bool isOn;
    } const cases[] = {
        {"cut in a tag", [&] { return on.substr(0, on.size() - 5); }, false},
        {"cut in a comment", [&] { return on + "<!-- "; }, true},
        {"NUL inside", [&] { return on + std::string(1, '\0') + on; }, false},
        {"NUL bytes only", [] { return std::string(1000, '\0'); }, false},
        {"50 MB of text",
         [&] { return "<SysConfigManager><x>" + std::string(50 << 20, 'x') + "</x>" + tail; }, true},
        {"50 MB of comment", [&] { return "<!--" + std::string(50 << 20, '-') + "-->" + on; }, true},
        {"50 MB of elements", [&] { return "<SysConfigManager>" + Repeated("<a/>", 13 << 20) + tail; },
         false},
        {"50 MB of attributes",
         [&] { return "<SysConfigManager" + Repeated(" a=''", 10 << 20) + ">" + tail; }, false},
        {"50 MB of open tags", [&] { return "<SysConfigManager>" + Repeated("<a>", 17 << 20); }, false},
        {"100,000 nested elements", [&] { return Repeated("<a>", 100'000) + Repeated("</a>", 100'000) + on; },
         false},
        {"1,000 nested elements",
         [&] { return "<SysConfigManager>" + Repeated("<a>", 999) + Repeated("</a>", 999) + tail; }, true},
        {"nesting behind a broken character",
         [&] { return utf8 + "<r a=\"\xC3\" b=\">" + Repeated("<a>", 100'000) + "\""; }, false},
        {"nesting behind a character reference", [&] { return "<r>&#x<!--x31;" + Repeated("<a>", 100'000); },
         false},
        {"10,000 attributes", [&] { return "<SysConfigManager" + attributes + ">" + tail; }, true},
        {"invalid UTF-8", [&] { return utf8 + "<SysConfigManager><x>\xFF\xFE\x80</x>" + tail; }, true},
        {"cut UTF-8 at the end", [&] { return utf8 + on + "\xF0"; }, true},
        {"byte order mark", [&] { return "\xEF\xBB\xBF" + on; }, true},
        {"UTF-16", [&] { return "\xFF\xFE<\0S\0>\0"; }, false},
        {"duplicate keys",
         [&] {
             return on.substr(0, on.find("</ORPL_ALL>")) +
                    "<ORPL_CFG_SP_MODULE_LOAD>0</"
                    "ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL></SysConfigManager>";
         },
         true},
        {"entities", [] { return Config("&amp;&unknown;&#;&#x;1"); }, false},
        {"external entity", [&] { return "<!DOCTYPE x SYSTEM \"file:///c:/boot.ini\">" + on; }, true},
        {"external entity used",
         [] { return "<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///c:/one\">]>" + Config("&e;"); }, false},
        {"lone <", [] { return std::string("<"); }, false},
        {"nothing", [] { return std::string(); }, false},
        {"declaration without an end", [] { return std::string("<?xml version=\""); }, false},
        {"processing instruction inside", [&] { return "<SysConfigManager><?pi <a> ?>" + tail; }, true},
    };
    const ConfigFolder folder;
    for (const auto& c : cases) {
        folder.WriteConfig(c.text());
        EXPECT_EQ(QueryOnSmallStack(folder.Path()), c.isOn) << c.name;
    }
}

} // namespace
} // namespace steward::test
