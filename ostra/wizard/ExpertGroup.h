#pragma once

#include <ostra/cluster/Group.h>
#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class Resource;
class ResourceType;

/// A group made from a group template: one resource of each kind that the template names, in its order, with its
/// parameters and its dependencies on the resources before it.
///
/// A resource is called KIND " for " GROUP " of " TEMPLATE "(" INDEX ")"; the dependencies between the resources of one
/// group, and the names of shares, are found by that form. Everything from "GROUP" on is the base name, worked out anew
/// by every Create and Change: its index is one more than the largest that stands in parentheses in the name of a
/// resource that this object knows.
///
/// `lists` holds one list of parameter strings for each kind, in the template's order: the first for the first kind. A
/// list that is null or not there gives that kind its defaults alone. Whatever the kind, the disk's signature is read
/// from the first list, and the directory of an IIS virtual root from the fifth. ExpertWizardGUIPage::GetParameters
/// fills them in this order but for a print spooler, which is the fourth kind of its template and whose parameters it
/// puts into the fifth list: the caller moves them.
///
/// One thread at a time, together with the group it was made from. Making one reads the templates of the local
/// registry; Create and Change block as long as the cluster takes for each of their calls. A step that was refused
/// leaves its code as the thread's last error, also where the result is 1.
class OSTRA_API ExpertGroup : public Group {
public:
    /// For a group that Create makes. Reads the template's kinds; an unknown template has none.
    ExpertGroup(const std::wstring& name, const std::wstring& templateName, HCLUSTER cluster,
                const std::wstring& clusterName);
    /// For a group that exists: shares the other's handle and resources, the last of the two lets go of them. Knows no
    /// template until GetWizardGUI.
    explicit ExpertGroup(const Group& group);
    /// The same, with the template, its kinds and the base name as `other` has them.
    ExpertGroup(const ExpertGroup& other) = default;
    ExpertGroup& operator=(const ExpertGroup&) = delete;
    /// Writes a line to standard output.
    ~ExpertGroup() override;

    using Group::Change;
    using Group::Create;

    /// Creates the cluster group with its own parameters, which may be null, and then its resources. 0: the cluster
    /// refused the group, and nothing was made. 1: the group exists, and what was made of it is in `ResourcesPtr`. When
    /// that is a resource for each kind, the group was asked to come online; the first resource that the cluster
    /// refuses ends the work, and the group stays as it is. The last argument is not used.
    virtual int Create(const std::vector<StringArray*>& lists, const StringArray* groupParameters, int);

    /// Hands each kind's parameters to the group's resource of that kind among `existingNames` (ChangeResource), and
    /// creates one for each kind of which there is none; new ones depend on every disk of the group, whatever its name,
    /// when their kind depends on disks. A new share takes the drive of the existing resource that was found last
    /// before it, and has none when that is no disk. A kind that fails does not stop the others. 1: every kind
    /// succeeded, and the group was asked to come online. The arguments without a name are not used.
    virtual int Change(const std::vector<StringArray*>& lists, const StringArray*, const StringArray* existingNames,
                       int);

    /// Counts the calls in the process, whatever the object: 1 the first time, 2 ever after.
    virtual int Monitor(const std::wstring&, int);

    /// Makes `templateName` the group's template and adds its kinds to those known before.
    void GetWizardGUI(const std::wstring& templateName);

    /// The template's name.
    std::wstring Type() const { return _type; }

private:
    std::wstring GetBaseName();
    std::unique_ptr<ResourceType> GetResourceType(const std::wstring& kind) const;
    void LearnKinds();
    std::size_t CreateKinds(const std::vector<StringArray*>& lists);
    std::size_t ChangeKinds(const std::vector<StringArray*>& lists, const StringArray& existingNames);
    bool CreateKind(const std::wstring& kind, std::unique_ptr<ResourceType> type, const StringArray* parameters,
                    int includeDisks);
    Resource* FindExisting(const std::wstring& kind, const StringArray& existingNames) const;
    void SetSharePath(ResourceType& share, const std::wstring& disk, const std::vector<StringArray*>& lists) const;
    void ReportMissingType(const std::wstring& kind) const;

    StringArray _expertResources;  // the template's kinds, in the order of creation
    std::wstring _baseName;
    std::wstring _type;
    NTEventViewer _expertEventViewer;
};
