#include "PeImage.h"

#include "WindowsFiles.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace steward::tools {

namespace {

constexpr size_t kMostImports = 1000; // of a damaged table

// Reads structures at any offset; beyond the file everything is zero.
class Bytes {
  public:
    explicit Bytes(const std::string& content) : content_(content) {}

    template <typename Structure> [[nodiscard]] Structure At(size_t offset) const {
        Structure read{};
        if (offset <= content_.size() && sizeof read <= content_.size() - offset) {
            std::memcpy(&read, content_.data() + offset, sizeof read);
        }
        return read;
    }

    [[nodiscard]] std::string TextAt(size_t offset) const {
        if (offset >= content_.size()) {
            return {};
        }
        const size_t end = content_.find('\0', offset);
        return content_.substr(offset, std::min<size_t>(end - offset, MAX_PATH));
    }

  private:
    const std::string& content_;
};

class Reader {
  public:
    explicit Reader(const std::string& content)
        : bytes_(content), start_(static_cast<size_t>(bytes_.At<IMAGE_DOS_HEADER>(0).e_lfanew)),
          headers_(bytes_.At<IMAGE_NT_HEADERS64>(start_)) {}

    [[nodiscard]] std::optional<PeImage> Read() const {
        if (bytes_.At<WORD>(0) != IMAGE_DOS_SIGNATURE || headers_.Signature != IMAGE_NT_SIGNATURE) {
            return std::nullopt;
        }
        PeImage image;
        image.is64Bit = headers_.FileHeader.Machine == IMAGE_FILE_MACHINE_AMD64 &&
                        headers_.OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC;
        image.isNative = headers_.OptionalHeader.Subsystem == IMAGE_SUBSYSTEM_NATIVE;
        if (image.is64Bit) {
            image.isSigned = Directory(IMAGE_DIRECTORY_ENTRY_SECURITY).Size != 0;
            image.imports = Imports();
        }
        return image;
    }

  private:
    [[nodiscard]] IMAGE_DATA_DIRECTORY Directory(size_t index) const {
        return index < headers_.OptionalHeader.NumberOfRvaAndSizes
                   ? headers_.OptionalHeader.DataDirectory[index]
                   : IMAGE_DATA_DIRECTORY{};
    }

    // Where in the file the loaded address lies; 0 when in no section.
    [[nodiscard]] size_t OffsetOf(DWORD address) const {
        const size_t sections =
            start_ + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers_.FileHeader.SizeOfOptionalHeader;
        for (size_t i = 0; i < headers_.FileHeader.NumberOfSections; ++i) {
            const auto section = bytes_.At<IMAGE_SECTION_HEADER>(sections + i * sizeof(IMAGE_SECTION_HEADER));
            if (address >= section.VirtualAddress &&
                address - section.VirtualAddress < section.SizeOfRawData) {
                return size_t{section.PointerToRawData} + (address - section.VirtualAddress);
            }
        }
        return 0;
    }

    [[nodiscard]] std::vector<std::string> Imports() const {
        std::vector<std::string> names;
        size_t at = OffsetOf(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress);
        while (at != 0 && names.size() < kMostImports) {
            const auto descriptor = bytes_.At<IMAGE_IMPORT_DESCRIPTOR>(at);
            const size_t name = descriptor.Name == 0 ? 0 : OffsetOf(descriptor.Name);
            if (name == 0) {
                break;
            }
            names.push_back(bytes_.TextAt(name));
            at += sizeof descriptor;
        }
        return names;
    }

    Bytes bytes_;
    size_t start_;
    IMAGE_NT_HEADERS64 headers_;
};

} // namespace

std::optional<PeImage> ReadPeImage(const std::wstring& path) {
    const auto content = ContentOf(path);
    return content ? Reader(*content).Read() : std::nullopt;
}

} // namespace steward::tools
