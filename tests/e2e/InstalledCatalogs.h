#pragma once

#include "e2e/Machine.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <wincrypt.h>

#include <mscat.h>

#include <string>

namespace steward::test {

// The catalogs of a package in the system's catalog database, for one scope.
class InstalledCatalogs {
  public:
    explicit InstalledCatalogs(const std::wstring& folder) {
        CryptCATAdminAcquireContext(&admin_, nullptr, 0);
        for (const std::wstring& driver : kDrivers) {
            std::wstring path = folder + driver + L".cat";
            std::wstring name = driver + L".cat";
            const HCATINFO added = CryptCATAdminAddCatalog(admin_, path.data(), name.data(), 0);
            EXPECT_NE(added, nullptr) << GetLastError();
            CryptCATAdminReleaseCatalogContext(admin_, added, 0);
        }
    }
    InstalledCatalogs(const InstalledCatalogs&) = delete;
    InstalledCatalogs& operator=(const InstalledCatalogs&) = delete;
    ~InstalledCatalogs() {
        CryptCATAdminReleaseContext(admin_, 0);
        Remove();
    }

    // Also those of a program that was ended.
    static void Remove() {
        HCATADMIN admin = nullptr;
        CryptCATAdminAcquireContext(&admin, nullptr, 0);
        for (const std::wstring& driver : kDrivers) {
            CryptCATAdminRemoveCatalog(admin, (driver + L".cat").c_str(), 0);
        }
        CryptCATAdminReleaseContext(admin, 0);
    }

  private:
    HCATADMIN admin_ = nullptr;
};

} // namespace steward::test
