#include "Actions.h"

#include "Progress.h"

#include <algorithm>
#include <cstdint>

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
    Run(const PluginLibrary& plugin, const CommandLine& line, const Interrupt& interrupt, ActionLog& log)
        : plugin_(plugin), line_(line), interrupt_(interrupt), log_(log) {}

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
        result_.log = log_.File();
        result_.logProblem = log_.WhyNotReadable();
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
                result_.records.push_back(
                    {line_.requests[i], std::move(preflight), std::nullopt, {}, std::nullopt});
                result_.ending = Ending::Refused;
                return true;
            }
        }
        return false;
    }

    void RunOne(const Request& request) {
        RecordResult& record =
            result_.records.emplace_back(RecordResult{request, std::nullopt, std::nullopt, {}, std::nullopt});
        if (!line_.force) {
            record.preflight = LookBefore(request);
            if (record.preflight->IsRefused()) {
                result_.ending = Ending::Refused;
                return;
            }
        }
        record.code = RunPlugin(request);
        ExplainByLog(record);
        if (record.code == DS_FAILED_BATCH_ABORTED) {
            result_.ending = Ending::BatchAborted;
        } else if (interrupt_.HasCome()) {
            result_.ending = Ending::Interrupted;
        }
    }

    uint32_t RunPlugin(const Request& request) {
        log_.TakeNew(); // what came before is not this record's
        const Progress progress(log_);
        return plugin_.Run(RecordOf(request));
    }

    void ExplainByLog(RecordResult& record) {
        if (log_.File().empty() || LoadedLogLibrary() != LogLibrary::StandIn) {
            return;
        }
        const tools::Log log = log_.TakeNew();
        record.trace = tools::TreeOf(log.lines);
        if (record.code != DS_SUCCESS && record.code != DS_SUCCESS_RESTART_REQUIRED) {
            record.reasons = ReasonsIn(log.lines);
        }
    }

    const PluginLibrary& plugin_;
    const CommandLine& line_;
    const Interrupt& interrupt_;
    ActionLog& log_;
    ActionsResult result_;
};

} // namespace

ActionsResult RunRecords(const PluginLibrary& plugin, const CommandLine& line, const Interrupt& interrupt,
                         ActionLog& log) {
    return Run(plugin, line, interrupt, log).Go();
}

} // namespace steward::host
