#include "Output.h"

#include "Json.h"
#include "util/Utf8.h"

#include <algorithm>
#include <cstdio>

namespace steward::host {

namespace {

using tools::JsonText;

struct CodeMeaning {
    uint32_t code;
    const char* name;
    const char* meaning;
};

constexpr CodeMeaning kMeanings[] = {
    {DS_SUCCESS, "success", "done"},
    {DS_SUCCESS_RESTART_REQUIRED, "restart required", "done; complete after the next restart of the machine"},
    {DS_ALL_RUNNING, "all running", "every driver is running"},
    {DS_NOT_ALL_RUNNING, "not all running", "drivers are present, but not all are running"},
    {DS_NONE_PRESENT, "none present", "no driver is present"},
    {DS_UNSUPPORTED_REQUEST, "unsupported request", "unknown action or rejected compare state"},
    {DS_PROCEDURE_FAILED, "procedure failed", "a driver could not be stopped or started"},
    {DS_FAILED_BATCH_ABORTED, "failed, batch aborted",
     "a driver is unsigned, could not be installed, replaced, removed or started"},
    {DS_DRIVER_NOT_STOPPED, "driver not stopped", "a running driver could not be stopped"},
};

CodeMeaning MeaningOf(uint32_t code) {
    const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                           [&](const CodeMeaning& each) { return each.code == code; });
    return found == std::end(kMeanings) ? CodeMeaning{code, "unknown code", "not a code of this plug-in"}
                                        : *found;
}

std::string Hex(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

std::string Column(const std::string& text, size_t width) {
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

std::string CodeAsJson(uint32_t code) {
    const CodeMeaning meaning = MeaningOf(code);
    return "\"code\":" + JsonText(Hex(code)) + ",\"name\":" + JsonText(meaning.name) +
           ",\"meaning\":" + JsonText(meaning.meaning);
}

std::string RestartNotice(const std::vector<DriverView>& drivers) {
    std::string notice = "A restart of the machine is required.";
    std::string older;
    for (const DriverView& driver : drivers) {
        if (!driver.loaded.empty()) {
            older += (older.empty() ? "" : ", ") + driver.name + " (" + driver.loaded + ")";
        }
    }
    return notice + (older.empty() ? "" : " Until then these drivers run their old image: " + older + ".") +
           "\n";
}

template <typename Items, typename Format> std::string List(const Items& items, Format format) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "{" : ",{") + format(item) + "}";
    }
    return "[" + text + "]";
}

} // namespace

std::string TextOf(const std::vector<RecordResult>& records, size_t requested,
                   const DriverStateReport& report, const std::vector<DriverView>& drivers) {
    std::string text;
    size_t number = 0;
    bool restart = false;
    for (const RecordResult& record : records) {
        const CodeMeaning meaning = MeaningOf(record.code);
        text += std::to_string(++number) + ". " + Utf8FromWide(record.request.command) + " " +
                Utf8FromWide(record.request.folder) + "\n   " + Hex(record.code) + " " + meaning.name + ": " +
                meaning.meaning + "\n";
        restart = restart || record.code == DS_SUCCESS_RESTART_REQUIRED;
    }
    if (records.size() < requested) {
        text += "The batch ended here: " + std::to_string(requested - records.size()) +
                " record(s) not processed.\n";
    }
    const CodeMeaning state = MeaningOf(report.state);
    text += std::string(state.name) + ": " + state.meaning + " (" + Hex(report.state) + ")";
    text += report.version[0] == '\0' ? "\n" : std::string(", version ") + report.version + "\n";
    text += "   " + Column("driver", 10) + Column("service", 15) + Column("file", 14) + "loaded image\n";
    for (const DriverView& driver : drivers) {
        const std::string loaded = driver.service != "running" ? "-"
                                   : driver.loaded.empty()     ? "the file's"
                                                               : driver.loaded + " until the restart";
        text += "   " + Column(driver.name, 10) + Column(driver.service, 15) + Column(driver.file, 14) +
                loaded + "\n";
    }
    return text + (restart ? RestartNotice(drivers) : "");
}

std::string JsonOf(const std::vector<RecordResult>& records, const DriverStateReport& report,
                   const std::vector<DriverView>& drivers) {
    const std::string recordList = List(records, [](const RecordResult& record) {
        return "\"action\":" + JsonText(Utf8FromWide(record.request.command)) +
               ",\"folder\":" + JsonText(Utf8FromWide(record.request.folder)) + "," + CodeAsJson(record.code);
    });
    const std::string driverList = List(drivers, [](const DriverView& driver) {
        return "\"name\":" + JsonText(driver.name) + ",\"service\":" + JsonText(driver.service) +
               ",\"file\":" + JsonText(driver.file) +
               ",\"loaded\":" + (driver.loaded.empty() ? "null" : JsonText(driver.loaded));
    });
    return "{\"records\":" + recordList + ",\"report\":{" + CodeAsJson(report.state) +
           ",\"version\":" + JsonText(report.version) + "},\"drivers\":" + driverList + "}\n";
}

} // namespace steward::host
