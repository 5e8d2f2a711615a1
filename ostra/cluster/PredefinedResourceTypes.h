#pragma once

#include <ostra/cluster/ResourceType.h>

#include <memory>
#include <string>

/// The type name of shared disks.
inline constexpr wchar_t physicalDiskType[] = L"Physical Disk";

/// What the kinds below share: they keep nothing of their own in a registry.
class OSTRA_API PredefinedResourceType : public ResourceType {
public:
    using ResourceType::ResourceType;
    int UpdateRegistry(const StringArray* parameters) override;
};

/// A directory offered on the network, on the drive of a disk that a template chose.
class OSTRA_API FileShare : public PredefinedResourceType {
public:
    FileShare(const std::wstring& clusterName, HCLUSTER cluster);

    /// "Path": a drive, or from 4 characters on the signature of a disk in signed decimal, whose drive is looked up
    /// among the cluster's available disks and then among those in use; a signature that no disk has is reported to
    /// the event log and leaves the drive as it was. "ShareName": the share is called "FileShare", then what stands in
    /// parentheses in the value, then the first character of the drive, which must therefore be known before; without
    /// parentheses the name stays. "HTMLPath": the directory that is shared. Other names are ignored.
    void SetDefault(const std::wstring& name, const std::wstring& value) override;
    void InitializeParameters() override;

private:
    void SetDiskPath(const std::wstring& value);
    void SetShareName(const std::wstring& resourceName);

    std::wstring _diskPath;
    std::wstring _fileShareName;
    std::wstring _htmlPath;
};

class OSTRA_API GenericApplication : public PredefinedResourceType {
public:
    GenericApplication(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
};

class OSTRA_API GenericService : public PredefinedResourceType {
public:
    GenericService(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
};

class OSTRA_API IISVirtualRoot : public PredefinedResourceType {
public:
    IISVirtualRoot(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
    /// The service name is always W3SVC: it is appended last, after one that the caller gave.
    void UpdateParameters(const StringArray* parameters) override;
};

/// Has no default parameters: every address is given by the caller.
class OSTRA_API IPAddress : public PredefinedResourceType {
public:
    IPAddress(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
};

class OSTRA_API NetworkName : public PredefinedResourceType {
public:
    NetworkName(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
};

class OSTRA_API PhysicalDisk : public PredefinedResourceType {
public:
    PhysicalDisk(const std::wstring& clusterName, HCLUSTER cluster);
    /// Keeps the lists as they are.
    void InitializeParameters() override;
};

class OSTRA_API PrintSpooler : public PredefinedResourceType {
public:
    PrintSpooler(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
    /// Spool directories also go to a list of their own.
    void UpdateParameters(const StringArray* parameters) override;
};

/// Has no parameters.
class OSTRA_API TimeService : public PredefinedResourceType {
public:
    TimeService(const std::wstring& clusterName, HCLUSTER cluster);
    void InitializeParameters() override;
};

/// The type object for a kind: one of the classes above for its exact name, else a plain ResourceType. Null when memory
/// ran out.
OSTRA_API std::unique_ptr<ResourceType> MakeResourceType(const std::wstring& kind, HCLUSTER cluster,
                                                         const std::wstring& clusterName);
