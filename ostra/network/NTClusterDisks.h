#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/network/Disk.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The cluster's shared disks as they were when the object was made: those that disk resources hold, and those that
/// are free for a new one. A node or a resource that cannot be asked contributes none, and leaves its code as the
/// thread's last error. A fresh view is a new object.
///
/// The object owns the disks; maps and disks are the caller's to read as long as it lives. Constructing one asks every
/// resource and every node and blocks as long as they take; nothing else reaches the cluster. One thread at a time, the
/// look-ups included, because a disk's own getters bring its fields up to date.
class OSTRA_API NTClusterDisks : public ClusterComponent {
public:
    /// Disks by drive.
    using DiskMap = std::map<std::wstring, Disk*>;

    /// Opens the cluster, and closes it when the object dies. A cluster that cannot be opened leaves every map empty
    /// and its code as the last error.
    explicit NTClusterDisks(const std::wstring& clusterName);
    /// The handle stays the caller's; null leaves every map empty and the last error 6.
    explicit NTClusterDisks(HCLUSTER cluster);
    NTClusterDisks(const NTClusterDisks&) = delete;
    NTClusterDisks& operator=(const NTClusterDisks&) = delete;

    /// Always 0.
    int Status(int) override;

    /// What nodes report, without drives that an earlier node reported or that a resource holds.
    const DiskMap* Availables() const { return &_availables; }
    /// The disks of "Physical Disk" resources.
    const DiskMap* Used() const { return &_used; }
    /// Signature by drive, of every available disk.
    const StringMap* AvailableDrives() const { return &_availableDrives; }

    // Each answers a disk of the map's, or null when the map has no such disk or is null itself.

    /// The disk stored under that drive whose partition is that drive.
    Disk* Find(const DiskMap* disks, const std::wstring& drive) const;
    /// The disk stored under that text whose signature is that text.
    Disk* FindBySignature(const DiskMap* disks, const std::wstring& signature) const;
    /// The first disk whose signature reads so in signed decimal: one with its top bit set is negative.
    Disk* FindBySignatureInDWORD(const DiskMap* disks, const std::wstring& decimalSignature) const;

private:
    void RefuseHandle(const std::wstring& failure) const;
    void Discover();
    DWORD GetUsedDiskAttributes(HCLUSTER cluster);
    DWORD GetAvailableDiskAttributes(HCLUSTER cluster);
    int GetAllNodes();
    int GetAllResources();
    DWORD GetPhysicalDiskResources(const std::wstring& resourceName);
    void AddUsedDisk(const std::wstring& resourceName, const StringMap& attributes);
    void AddAvailableDisk(std::span<const std::wstring> descriptions);
    /// Visits the names of the cluster's objects; a name that cannot be had is reported and passed over. The index at
    /// which the walk ended, -1 when it could not begin.
    int Walk(DWORD types, const std::function<void(const std::wstring&)>& visit, const std::wstring& openFailure,
             const std::wstring& itemFailure);

    DiskMap _availables;
    DiskMap _used;
    StringMap _availableDrives;
    OstraError _error;
    std::wstring _openedCluster;
    HCLUSTER _hCluster = nullptr;  // _ownCluster's or the caller's
    StringArray _nodes;
    StringArray _diskResources;

    platform::SharedHandle<HCLUSTER, CloseCluster> _ownCluster;
    std::vector<std::unique_ptr<Disk>> _availableDisks;  // what _availables points at
    std::vector<std::unique_ptr<Disk>> _usedDisks;       // what _used points at
};
