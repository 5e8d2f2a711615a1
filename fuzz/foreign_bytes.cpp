// Bytes that come from outside: texts, archives and property lists must never be read beyond their end, and what was
// read must survive being written and read again. To run it for two minutes:
//
//     cmake -B build-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DOSTRA_FUZZ=ON && ninja -C build-fuzz foreign_bytes
//     build-fuzz/bin/foreign_bytes -max_total_time=120 CORPUS_DIRECTORY
#include <ostra/properties/Properties.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/control_codes.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

void Require(bool isTrue) {
    if (!isTrue) std::abort();
}

void ReadTexts(std::span<const BYTE> bytes) {
    const std::wstring text = platform::FromUtf16(bytes);
    const Bytes written = platform::ToUtf16(text);
    Require(platform::FromUtf16(written) == text);
    Require(written.size() == 2 * platform::Utf16Length(text) + 2);
    Require(platform::Utf16Length(platform::CutToUnits(text, bytes.size() / 4)) <= bytes.size() / 4);
    for (const std::wstring& item : platform::ListFromUtf16(bytes)) Require(!item.empty());

    const std::wstring wide = platform::FromUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    Require(platform::FromUtf8(platform::ToUtf8(wide)) == wide);
    Require(platform::EqualIgnoringCase(wide, platform::FoldCase(wide)));
}

void ReadArchive(std::span<const BYTE> bytes) {
    Bytes given(bytes.begin(), bytes.end());
    CArchive archive(given, CArchive::Mode::Load);
    while (!archive.Failed()) {
        BYTE kind = 0;
        std::wstring text;
        DWORD number = 0;
        archive >> kind;
        if (kind % 2 == 0) archive >> number;
        if (kind % 2 == 1) archive >> text;
        if (archive.Failed()) {
            Require(text.empty() && number == 0);
            break;
        }
        Bytes stored;
        CArchive(stored, CArchive::Mode::Store) << text << number;
        std::wstring textAgain;
        DWORD numberAgain = 0;
        CArchive again(stored, CArchive::Mode::Load);
        again >> textAgain >> numberAgain;
        Require(!again.Failed() && textAgain == text && numberAgain == number);
    }
}

/// A working set that is given an answer as the service would give it.
class AnsweredProperties final : public Properties {
public:
    bool Receive(std::span<const BYTE> answer, DWORD diskCode) {
        static constexpr ObjectKind kind{CLUS_OBJECT_RESOURCE, L"", L"", L"", L"", false, false};
        const auto control = [&](const void*, DWORD, void* output, DWORD outputSize, DWORD* returned) {
            *returned = static_cast<DWORD>(answer.size());
            if (answer.size() > outputSize) return platform::error::MoreData;
            std::copy(answer.begin(), answer.end(), static_cast<BYTE*>(output));
            return platform::error::Success;
        };
        return Read(kind, CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES, control, diskCode);
    }
    const std::vector<std::shared_ptr<Property>>& Parsed() const { return _properties; }
};

bool IsSame(const platform::PropertyValue& engines, const Property& programs) {
    if (engines.name != programs.Name()) return false;
    const DWORD* const number = std::get_if<DWORD>(&engines.value);
    return number ? *number == programs.ValueInDWORD() : std::get<std::wstring>(engines.value) == programs.Value();
}

// Two codecs for one format: what the stricter one, the engines', accepts, both read alike.
void ReadPropertyList(std::span<const BYTE> bytes) {
    static auto& answered = *new AnsweredProperties;
    answered.Receive(bytes, CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES);  // as a list of disks
    const bool isReceived = answered.Receive(bytes, 0);
    std::vector<platform::PropertyValue> properties;
    if (!platform::DecodePropertyList(bytes, properties)) return;
    Require(isReceived && std::ranges::equal(properties, answered.Parsed(), [](const auto& ours, const auto& theirs) {
                return IsSame(ours, *theirs);
            }));
    const Bytes written = platform::EncodePropertyList(properties);
    std::vector<platform::PropertyValue> again;
    Require(platform::DecodePropertyList(written, again) && platform::EncodePropertyList(again) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of just that size, so that the sanitizer sees a read beyond it.
    const Bytes bytes(data, data + size);
    ReadTexts(bytes);
    ReadArchive(bytes);
    ReadPropertyList(bytes);
    return 0;
}
