#include "Actions.h"

#include <algorithm>

namespace steward::host {

const char kNotElevated[] = "this needs an administrator's rights; start it from an administrator's prompt";

namespace {

DrvInfo RecordOf(const Request& request) {
    DrvInfo record{};
    std::copy(request.folder.begin(), request.folder.end(), record.path);
    record.action = request.action;
    record.compare_state = request.compareState;
    return record;
}

// What earlier records do to the machine does not change what a package lacks, which keeps all from starting.
class Run {
  public:
    Run(const PluginLibrary& plugin, const CommandLine& line, const Interrupt& interrupt)
        : plugin_(plugin), line_(line), interrupt_(interrupt) {}

    ActionsResult Go() {
        const auto& requests = line_.requests;
        if (!RefusesBeforehand()) {
            for (size_t i = 0; i < requests.size() && result_.ending == Ending::Complete; ++i) {
                RunOne(requests[i]);
            }
            const auto reached = static_cast<ptrdiff_t>(result_.records.size());
            result_.notProcessed.assign(requests.begin() + reached, requests.end());
        }
        if (result_.records.front().code) {
            result_.report = plugin_.Report();
        }
        result_.machine = tools::LookAtMachine();
        return std::move(result_);
    }

  private:
    // The first record is looked at in full right before it runs.
    bool RefusesBeforehand() {
        for (size_t i = 1; i < line_.requests.size() && !line_.force; ++i) {
            Preflight preflight = LookBefore(line_.requests[i]);
            preflight.findings = FindPackageFaults(preflight);
            if (preflight.IsRefused()) {
                result_.notProcessed = line_.requests;
                result_.notProcessed.erase(result_.notProcessed.begin() + static_cast<ptrdiff_t>(i));
                result_.records.push_back({line_.requests[i], std::move(preflight), std::nullopt});
                result_.ending = Ending::Refused;
                return true;
            }
        }
        return false;
    }

    void RunOne(const Request& request) {
        RecordResult& record =
            result_.records.emplace_back(RecordResult{request, std::nullopt, std::nullopt});
        if (!line_.force) {
            record.preflight = LookBefore(request);
            if (record.preflight->IsRefused()) {
                result_.ending = Ending::Refused;
                return;
            }
        }
        record.code = plugin_.Run(RecordOf(request));
        if (record.code == DS_FAILED_BATCH_ABORTED) {
            result_.ending = Ending::BatchAborted;
        } else if (interrupt_.HasCome()) {
            result_.ending = Ending::Interrupted;
        }
    }

    const PluginLibrary& plugin_;
    const CommandLine& line_;
    const Interrupt& interrupt_;
    ActionsResult result_;
};

} // namespace

ActionsResult RunRecords(const PluginLibrary& plugin, const CommandLine& line, const Interrupt& interrupt) {
    return Run(plugin, line, interrupt).Go();
}

} // namespace steward::host
