// export and import.
#include "CommandLine.h"
#include "Commands.h"
#include "ConfigurationLock.h"
#include "Failure.h"
#include "Files.h"
#include "Replacement.h"
#include "Store.h"
#include "Warnings.h"
#include "util/Utf8.h"

namespace steward::configtool {

Answer Export(const tools::ReadLine& line) {
    const std::wstring path = ConfigurationPath(line);
    const std::wstring target = OperandPath(line, 0);
    if (IsSameFile(path, target)) {
        Fail(target +
             L" is the configuration itself: as readable XML the plug-in could not read it; name another "
             L"file");
    }
    const std::string text = ReadableText(path);
    Replacement replacement(target, Replacement::Access::OwnerAlone);
    replacement.Write(text);
    replacement.TakeOver();
    return {"", Utf8FromWide(path), {}, {}};
}

Answer Import(const tools::ReadLine& line) {
    const unsigned seconds = SecondsToWait(line);
    const std::wstring source = OperandPath(line, 0);
    const std::wstring path = ConfigurationPath(line);
    const ConfigurationLock lock(path, seconds);
    const auto configuration = Configuration::FromXml(source);
    configuration.CheckRoot(source);
    Store(configuration, path);
    return {"", Utf8FromWide(path), {}, WarningsFor(configuration.Settings())};
}

} // namespace steward::configtool
