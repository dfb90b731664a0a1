// Builds the transcript that an action must leave. Every method appends the lines of one operation of the
// plug-in.
#pragma once

#include "e2e/WindowsVersion.h"
#include "support/LogCapture.h"

#include <string>

namespace steward::test {

enum class Outcome { done, already, refused, absent };

class Expected {
  public:
    explicit Expected(bool platformPresent = true) : platformPresent_(platformPresent) {}

    operator const Transcript&() const { return lines_; } // NOLINT(google-explicit-constructor)

    // Single lines: of any source, of the driver code, the service layer, the file operations.
    Expected& Line(uint32_t level, const std::wstring& module, const std::wstring& file,
                   const std::wstring& text);
    Expected& Drv(uint32_t level, const std::wstring& text);
    Expected& Manage(uint32_t level, const std::wstring& text);
    Expected& File(uint32_t level, const std::wstring& text);

    // The service layer.
    Expected& Exists(const std::wstring& name, bool exists);
    Expected& Start(const std::wstring& name, Outcome outcome = Outcome::done, uint32_t error = 0);
    Expected& Stop(Outcome outcome = Outcome::done, uint32_t error = 0);
    Expected& QueryFails(); // of an absent service
    Expected& InstallInf(const std::wstring& folder, const std::wstring& name);
    Expected& InfMissing(const std::wstring& path);
    Expected& UninstallInf();
    Expected& Instances(uint32_t count);
    Expected& AttributesReset(const std::wstring& path);

    // The restriction of the three service objects, of which `present` are registered.
    Expected& Restriction(bool restore, const std::vector<std::wstring>& present);

    // The dispatcher around a procedure.
    Expected& Entry(uint32_t action, uint32_t compareState);
    Expected& SignatureGate(const std::wstring& folder);
    Expected& Exit(uint32_t result);

    // Parts of the procedures.
    Expected& InstallDriver(const std::wstring& folder, const std::wstring& name,
                            Outcome start = Outcome::done);
    Expected& RecoveryFails(const std::wstring& name); // the lab has no legacy device nodes
    Expected& StopForUpdate(const std::wstring& name, Outcome outcome = Outcome::done, uint32_t error = 0);
    Expected& CheckShared(bool foreign);
    Expected& Replace(const std::wstring& folder, const std::wstring& target, const std::wstring& name,
                      const std::wstring& extension, bool renamed);
    Expected& ExistencePhase(bool foreign); // all three there
    Expected& ReplaceAll(const std::wstring& folder, bool renamed, bool catalogsThere);
    Expected& MigrationBegins();
    Expected& StartNew(const std::wstring& name, Outcome outcome = Outcome::done, uint32_t error = 0);
    Expected& TakeOver(bool permCountThere, bool deleteFlagThere);

  private:
    Expected& Priv(uint32_t level, const std::wstring& text);

    bool platformPresent_;
    Transcript lines_;
};

std::wstring Hex(uint32_t value); // as the log writes numbers

// The install section that the plug-in must choose on the running version.
std::wstring InstallSection(const std::wstring& driver, bool platformPresent);

} // namespace steward::test
