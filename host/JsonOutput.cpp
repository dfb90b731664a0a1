#include "JsonOutput.h"

#include "Json.h"
#include "util/Utf8.h"

namespace steward::host {

namespace {

using tools::JsonText;

std::string CodeAsJson(uint32_t code) {
    const CodeMeaning meaning = MeaningOf(code);
    return "\"code\":" + JsonText(HexCode(code)) + ",\"name\":" + JsonText(meaning.name) +
           ",\"meaning\":" + JsonText(meaning.meaning);
}

template <typename Items, typename Format> std::string List(const Items& items, Format format) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "{" : ",{") + format(item) + "}";
    }
    return "[" + text + "]";
}

std::string MachineAsJson(const std::optional<DriverStateReport>& report, const tools::MachineView& machine) {
    const std::string drivers = List(machine.drivers, [](const tools::DriverView& driver) {
        return "\"name\":" + JsonText(driver.name) +
               ",\"service\":" + JsonText(driver.service.StateInWords()) +
               ",\"file\":" + JsonText(driver.fileVersion) +
               ",\"loaded\":" + (driver.loadedVersion ? JsonText(*driver.loadedVersion) : "null");
    });
    const std::string state = report ? "\"report\":{" + CodeAsJson(report->state) +
                                           ",\"version\":" + JsonText(report->version) + "},"
                                     : "";
    return state + "\"drivers\":" + drivers;
}

} // namespace

std::string JsonOf(const ActionsResult& result) {
    const std::string records = List(result.records, [](const RecordResult& record) {
        return "\"action\":" + JsonText(Utf8FromWide(record.request.command)) +
               ",\"folder\":" + JsonText(Utf8FromWide(record.request.folder)) +
               (record.code ? "," + CodeAsJson(*record.code) : "");
    });
    return "{\"records\":" + records + "," + MachineAsJson(result.report, result.machine) + "}\n";
}

std::string JsonOf(const StatusResult& result) {
    return "{" + MachineAsJson(result.report, result.machine) + "}\n";
}

} // namespace steward::host
