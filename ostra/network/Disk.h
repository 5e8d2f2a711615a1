#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>
#include <platform/framework/CObject.h>

#include <string>

/// One shared disk as the cluster reports it: in use by a resource, described by its fields, or available, described
/// by its attributes. All texts are copies; nothing blocks. One thread at a time, also for reading: what asks for
/// signature or partition brings the field up to date with the attribute.
class OSTRA_API Disk : public CObject {
public:
    Disk() = default;
    Disk(const std::wstring& id, const std::wstring& diskName);

    /// Describes a disk in use.
    void Set(const std::wstring& resourceName, const std::wstring& id, const std::wstring& partition,
             const std::wstring& signature, const std::wstring& diskName, const std::wstring& serialNumber,
             const std::wstring& scsiAddress);
    /// Sets one attribute of an available disk.
    void Set(const std::wstring& attributeName, const std::wstring& value);

    std::wstring ID() const { return _iD; }
    std::wstring DiskName() const { return _diskName; }
    std::wstring SerialNumber() const { return _serialNumber; }
    std::wstring SCSIAddress() const { return _scsiAddress; }
    std::wstring ResourceName() const { return _resourceName; }
    /// In lower-case hexadecimal, as the cluster reports it; an attribute of that name goes before the field.
    std::wstring Signature();
    /// The drive, such as "E:"; an attribute of that name goes before the field.
    std::wstring Partition();
    /// The signature attribute of an available disk as a number; 0 when there is none.
    DWORD SignatureInDecimalDWORD();
    /// Reads a hexadecimal signature, makes it the disk's number and returns it.
    DWORD SignatureInDecimalDWORD(const std::wstring& signature);
    /// Every attribute of an available disk, by name; the disk's own map.
    StringMap* Attributes() { return &_attributes; }
    /// Writes the attributes to standard output.
    void Info() const;

private:
    std::wstring _iD;
    std::wstring _signature;
    std::wstring _diskName;
    std::wstring _serialNumber;
    std::wstring _partition;
    std::wstring _scsiAddress;
    std::wstring _resourceName;
    DWORD _signatureInDWORD = 0;
    StringMap _attributes;
};
