#include "DriverView.h"

#include "WindowsFiles.h"

#include "lifecycle/Locations.h"
#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "util/Std_Utils_File.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>

namespace steward::tools {

namespace {

bool IsSamePath(const std::wstring& left, const std::wstring& right) {
    return _wcsicmp(left.c_str(), right.c_str()) == 0;
}

// An image in use that was renamed away waits for its deletion. The first one of a driver since the last
// restart is the one that is loaded.
std::optional<FileIdentity> RenamedImage(const std::wstring& driverFile,
                                         const std::vector<PendingMove>& moves) {
    for (const PendingMove& move : moves) {
        auto identity = move.to.empty() ? IdentityOf(move.from) : std::nullopt;
        const bool isRenamed = identity && !move.from.ends_with(L"\\" + driverFile);
        if (isRenamed && IsSamePath(identity->originalName, driverFile)) {
            return identity;
        }
    }
    return std::nullopt;
}

void ReadFiles(DriverView& view, const std::vector<PendingMove>& moves) {
    const std::wstring file = view.path.substr(view.path.rfind(L'\\') + 1);
    const auto identity = IdentityOf(view.path);
    view.hasFile = IsFileExist(view.path.c_str());
    view.fileVersion = identity ? identity->version : "";
    view.nextVersion = view.fileVersion;
    view.signature = view.hasFile ? SignatureOf(view.path) : SignatureView{};
    view.isLoaded = view.service.state != 0 && view.service.state != SERVICE_STOPPED;
    if (view.isLoaded) {
        const auto renamed = RenamedImage(file, moves);
        view.loadedIsFile = !renamed && view.hasFile;
        view.loadedVersion = renamed             ? std::optional(renamed->version)
                             : view.loadedIsFile ? std::optional(view.fileVersion)
                                                 : std::nullopt;
    }
    for (const PendingMove& move : moves) {
        if (move.to.empty() && IsSamePath(move.from, view.path)) {
            view.isDeletedAtRestart = true;
        } else if (IsSamePath(move.to, view.path)) {
            const auto replacing = IdentityOf(move.from);
            view.isReplacedAtRestart = true;
            view.nextVersion = replacing ? replacing->version : "";
        }
    }
}

NextStart NextOf(const DriverView& view) {
    if (view.service.error != 0 || view.path.empty()) {
        return NextStart::Unknown;
    }
    if (!view.service.isInstalled) {
        return NextStart::Nothing;
    }
    if (view.service.isMarkedForDeletion || view.isDeletedAtRestart) {
        return NextStart::IsRemoved;
    }
    if (view.service.start && *view.service.start > SERVICE_AUTO_START) {
        return NextStart::LoadsNot;
    }
    return view.hasFile || view.isReplacedAtRestart ? NextStart::Loads : NextStart::FileMissing;
}

} // namespace

std::string DriverView::NextInWords() const {
    switch (next) {
    case NextStart::Nothing:
        return "nothing";
    case NextStart::Loads:
        return nextVersion.empty() ? "a file without a version" : nextVersion;
    case NextStart::LoadsNot:
        return "not loaded (start type: " + service.StartInWords() + ")";
    case NextStart::IsRemoved:
        return "will be removed";
    case NextStart::FileMissing:
        return "WILL NOT START: file missing";
    default:
        return "unknown";
    }
}

bool DriverView::WaitsForRestart() const {
    return next == NextStart::IsRemoved || isReplacedAtRestart || (isLoaded && hasFile && !loadedIsFile);
}

bool DriverView::IsFirstLoadedByRestart() const {
    return next == NextStart::Loads && service.isNeverStarted && ChangesNeedRestart();
}

std::vector<DriverView> LookAtDrivers() {
    const std::wstring folder = DriversFolder();
    const std::vector<PendingMove> moves = MovesAtRestart();
    std::vector<DriverView> views;
    for (const DriverRow& row : DriverTable) {
        DriverView view;
        view.name = Utf8FromWide(row.name);
        view.service = LookAtService(row.name);
        if (!folder.empty()) {
            view.path = folder + row.name + L".sys";
            ReadFiles(view, moves);
        }
        view.next = NextOf(view);
        views.push_back(std::move(view));
    }
    return views;
}

} // namespace steward::tools
