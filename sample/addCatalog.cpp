// Adds security catalogs to the system's catalog database, or removes them.
#include <windows.h>

#include <wincrypt.h>

#include <mscat.h>

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

namespace {

struct ReleaseDatabase {
    using pointer = HCATADMIN;
    void operator()(HCATADMIN database) const { CryptCATAdminReleaseContext(database, 0); }
};
using CatalogDatabase = std::unique_ptr<HCATADMIN, ReleaseDatabase>;

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

ExitCode Fail(const wchar_t* action, const wchar_t* object, const wchar_t* advice) {
    const DWORD error = GetLastError();
    std::fwprintf(stderr, L"addCatalog: cannot %ls %ls (error 0x%lx); %ls.\n", action, object, error, advice);
    return kFailed;
}

// A catalog keeps its file name in the database, so that it can be removed by that name.
ExitCode Add(HCATADMIN database, const wchar_t* path) {
    std::array<wchar_t, MAX_PATH> fullPath{}; // stays empty, which is no file, when the path is too long
    wchar_t* name = nullptr;
    GetFullPathNameW(path, static_cast<DWORD>(fullPath.size()), fullPath.data(), &name);
    // The database takes any file: look first. A catalog is a signed list in the form of a trust list.
    if (!CryptQueryObject(CERT_QUERY_OBJECT_FILE, fullPath.data(), CERT_QUERY_CONTENT_FLAG_CTL,
                          CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr)) {
        return Fail(L"read a catalog from", path, L"give the path of a catalog file");
    }
    const HCATINFO catalog = CryptCATAdminAddCatalog(database, fullPath.data(), name, 0);
    if (catalog == nullptr) {
        return Fail(L"add", path, L"run as administrator and see that the catalog is signed");
    }
    CryptCATAdminReleaseCatalogContext(database, catalog, 0);
    return kDone;
}

ExitCode Remove(HCATADMIN database, const wchar_t* name) {
    if (!CryptCATAdminRemoveCatalog(database, name, 0)) {
        return Fail(L"remove", name,
                    L"run as administrator and give the file name of a catalog that was added");
    }
    return kDone;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    _setmode(_fileno(stderr), _O_U8TEXT);

    const bool remove = count > 1 && std::wstring_view(arguments[1]) == L"--remove";
    const int first = remove ? 2 : 1;
    if (first >= count) {
        std::fwprintf(stderr, L"usage: addCatalog <path.cat>... | addCatalog --remove <name.cat>...\n");
        return kWrongUsage;
    }

    HCATADMIN context = nullptr;
    if (!CryptCATAdminAcquireContext(&context, nullptr, 0)) {
        return Fail(L"open", L"the catalog database", L"run as administrator");
    }
    const CatalogDatabase database(context);
    for (int index = first; index < count; ++index) {
        const ExitCode result = remove ? Remove(context, arguments[index]) : Add(context, arguments[index]);
        if (result != kDone) {
            return result;
        }
    }
    return kDone;
}
