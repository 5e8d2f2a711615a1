#include <ostra/properties/Properties.h>

#include <ostra/properties/entries.h>
#include <platform/base/format.h>
#include <platform/base/text.h>

namespace {

using platform::NumberAt;

constexpr std::size_t nameCharacters = 260;
constexpr std::size_t deviceNameAt = 4;  // behind the flags word
constexpr std::size_t labelAt = deviceNameAt + nameCharacters * 2;
constexpr std::size_t serialNumberAt = labelAt + nameCharacters * 2;
constexpr std::size_t partitionSize = serialNumberAt + 4;

}  // namespace

int Properties::ParseDiskInformation() {
    EntryReader reader({_buffer, _streamSize});
    DWORD syntax = 0;
    std::span<const BYTE> data;
    while (reader.HasNumber() && reader.Peek() != CLUSPROP_SYNTAX_ENDMARK && reader.Next(syntax, data)) {
        if (syntax == CLUSPROP_SYNTAX_PARTITION_INFO)
            AddPartition(data);
        else
            AddDiskNumber(syntax, data);
    }
    return static_cast<int>(_properties.size());
}

void Properties::AddDiskNumber(DWORD syntax, std::span<const BYTE> data) {
    if (data.size() < 4) return;
    const DWORD number = NumberAt(data.data());
    if (syntax == CLUSPROP_SYNTAX_DISK_SIGNATURE)
        AddDescription(L"Signature", platform::Format(L"%x", number), CLUSPROP_FORMAT_DWORD);
    if (syntax == CLUSPROP_SYNTAX_SCSI_ADDRESS)
        AddDescription(L"SCSI Address", platform::Format(L"%x", number), CLUSPROP_FORMAT_DWORD);
    if (syntax == CLUSPROP_SYNTAX_DISK_NUMBER)
        AddDescription(L"Disk Number", platform::Format(L"%d", number), CLUSPROP_FORMAT_DWORD);
}

void Properties::AddPartition(std::span<const BYTE> data) {
    if (data.size() < partitionSize) return;
    const std::wstring device = platform::FromUtf16(data.subspan(deviceNameAt, nameCharacters * 2));
    const std::wstring label = platform::FromUtf16(data.subspan(labelAt, nameCharacters * 2));
    AddDescription(L"Partition", device, CLUSPROP_FORMAT_SZ);
    AddDescription(L"Volumne Lable", label, CLUSPROP_FORMAT_SZ);
    AddDescription(L"Serial Number", platform::Format(L"%x", NumberAt(data.data() + serialNumberAt)),
                   CLUSPROP_FORMAT_SZ);
}

void Properties::AddDescription(const wchar_t* name, const std::wstring& value, CLUSTER_PROPERTY_FORMAT format) {
    _properties.push_back(std::make_shared<Property>(name, value, format));
}
