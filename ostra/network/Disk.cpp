#include <ostra/network/Disk.h>

#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/base/text.h>

Disk::Disk(const std::wstring& id, const std::wstring& diskName) : _iD(id), _diskName(diskName) {}

void Disk::Set(const std::wstring& resourceName, const std::wstring& id, const std::wstring& partition,
               const std::wstring& signature, const std::wstring& diskName, const std::wstring& serialNumber,
               const std::wstring& scsiAddress) {
    _resourceName = resourceName;
    _iD = id;
    _partition = partition;
    _signature = signature;
    _diskName = diskName;
    _serialNumber = serialNumber;
    _scsiAddress = scsiAddress;
    SignatureInDecimalDWORD(signature);
}

void Disk::Set(const std::wstring& attributeName, const std::wstring& value) {
    _attributes[attributeName] = value;
}

std::wstring Disk::Signature() {
    const auto attribute = _attributes.find(L"Signature");
    if (attribute != _attributes.end()) _signature = attribute->second;
    return _signature;
}

std::wstring Disk::Partition() {
    const auto attribute = _attributes.find(L"Partition");
    if (attribute != _attributes.end()) _partition = attribute->second;
    return _partition;
}

DWORD Disk::SignatureInDecimalDWORD() {
    const auto attribute = _attributes.find(L"Signature");
    _signatureInDWORD = attribute == _attributes.end() ? 0 : platform::ParseHexadecimal(attribute->second);
    return _signatureInDWORD;
}

DWORD Disk::SignatureInDecimalDWORD(const std::wstring& signature) {
    _signatureInDWORD = platform::ParseHexadecimal(signature);
    return _signatureInDWORD;
}

void Disk::Info() const {
    platform::WriteOutput(L"   attributes:  \n");
    for (const auto& [name, value] : _attributes)
        platform::WriteOutput(platform::Format(L"property: name:%ws value:%ws\n", name.c_str(), value.c_str()));
}
