#include "CallTree.h"

#include "CallWords.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace steward::tools {

namespace {

constexpr size_t kDeepest = 64;
constexpr uint32_t kWorthALine = 3;
constexpr std::string_view kDispatcher = "DoActionFromDrvInfo"; // never called from a traced function
constexpr std::string_view kWait = "WaitForServiceState";
constexpr std::string_view kStart = "StartDriverService";
constexpr std::string_view kUninstallByInf = "_UnInstallDriverByInf";
// The order in which drivers are removed. DriverTable has it, too, but needs Windows.
constexpr std::string_view kRemovalOrder[] = {"qxactmon", "qxevtmgr", "qxcomm"};

struct OpenCall {
    CallNode node;
    std::string stopping;  // the driver that a line said would be stopped
    size_t uninstalls = 0; // drivers removed so far
};

struct NameAndRest {
    std::string_view name;
    std::string_view rest;
};

NameAndRest SplitAtComma(std::string_view text) {
    const size_t comma = std::min(text.find(','), text.size());
    return {text.substr(0, comma), text.substr(std::min(comma + 1, text.size()))};
}

class Builder {
  public:
    void Take(const LogLine& line) {
        const std::string_view message = line.message;
        if (message.starts_with("==> ")) {
            Enter(line, SplitAtComma(message.substr(4)));
        } else if (message.starts_with("<== ")) {
            Leave(line, SplitAtComma(message.substr(4)));
        } else {
            Note(line);
        }
    }

    CallTree Finish() {
        CloseDownTo(0);
        return std::move(roots_);
    }

  private:
    void Enter(const LogLine& line, const NameAndRest& call);
    void Leave(const LogLine& line, const NameAndRest& call);
    void Note(const LogLine& line);
    [[nodiscard]] std::string DetailInContext(const NameAndRest& call) const;

    void Attach(CallNode node) {
        (open_.empty() ? roots_ : open_.back().node.children).push_back(std::move(node));
    }

    void CloseDownTo(size_t depth) {
        while (open_.size() > depth) {
            CallNode node = std::move(open_.back().node);
            open_.pop_back();
            Attach(std::move(node));
        }
    }

    std::vector<OpenCall> open_;
    CallTree roots_;
};

std::string Builder::DetailInContext(const NameAndRest& call) const {
    if (open_.empty() || (call.name != kWait && call.name != kUninstallByInf)) {
        return DetailOf(call.name, call.rest);
    }
    const OpenCall& caller = open_.back();
    if (call.name == kWait && caller.node.text == kStart) {
        return "start " + caller.node.detail;
    }
    const std::string next =
        caller.node.text == "UninstallDrvFromDrvInfo" && caller.uninstalls < std::size(kRemovalOrder)
            ? std::string(kRemovalOrder[caller.uninstalls])
            : caller.stopping;
    return next.empty() || call.name == kUninstallByInf ? next : "stop " + next;
}

void Builder::Enter(const LogLine& line, const NameAndRest& call) {
    if (call.name == kDispatcher) {
        CloseDownTo(0); // whatever is open belongs to a process that was ended
    }
    OpenCall opened;
    opened.node.text = call.name;
    opened.node.detail = DetailInContext(call);
    opened.node.began = line.microseconds;
    if (call.name == kUninstallByInf && !open_.empty()) {
        ++open_.back().uninstalls;
    }
    if (call.name == kStart && opened.node.detail.empty()) { // refuses an empty name without an exit line
        opened.node.result = "failed";
        opened.node.failed = true;
    }
    if (opened.node.failed || open_.size() == kDeepest) {
        Attach(std::move(opened.node));
    } else {
        open_.push_back(std::move(opened));
    }
}

void Builder::Leave(const LogLine& line, const NameAndRest& call) {
    const auto found = std::find_if(open_.rbegin(), open_.rend(),
                                    [&](const OpenCall& each) { return each.node.text == call.name; });
    CallResult result = ResultOf(call.rest);
    if (found == open_.rend()) {
        CallNode node;
        node.text = call.name;
        node.entered = false;
        node.left = true;
        node.began = line.microseconds;
        node.result = std::move(result.text);
        node.failed = result.failed;
        Attach(std::move(node));
        return;
    }
    const auto depth = static_cast<size_t>(open_.rend() - found);
    CloseDownTo(depth); // callees without an exit line
    CallNode& node = open_.back().node;
    node.left = true;
    node.result = std::move(result.text);
    node.failed = result.failed;
    node.took = std::max<int64_t>(line.microseconds - node.began, 0); // somebody may set the clock back
    CloseDownTo(depth - 1);
}

void Builder::Note(const LogLine& line) {
    const std::string_view message = line.message;
    if (!open_.empty()) {
        if (const auto name = Behind(message, "Try to stop service: "); !name.empty()) {
            open_.back().stopping = name;
        }
        if (const auto name = Behind(message, "try to opens an existing service: "); !name.empty()) {
            open_.back().node.detail = name;
        }
    }
    if (line.level >= kWorthALine) {
        CallNode node;
        node.isCall = false;
        node.text = message;
        node.level = line.level;
        node.began = line.microseconds;
        Attach(std::move(node));
    }
}

} // namespace

CallTree TreeOf(const std::vector<LogLine>& lines) {
    Builder builder;
    for (const LogLine& line : lines) {
        builder.Take(line);
    }
    return builder.Finish();
}

const CallNode* CallUnderWay(const CallTree& tree) {
    const CallNode* innermost = nullptr;
    for (const CallTree* level = &tree; !level->empty() && level->back().isCall && !level->back().left;) {
        innermost = &level->back();
        level = &innermost->children;
    }
    return innermost;
}

} // namespace steward::tools
