#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>
#include <platform/framework/CObList.h>

#include <string>

/// The kinds of resource that one kind depends on, as the dependency templates of the local registry list them. Read
/// once, at construction, which blocks as long as the registry does; never changed afterwards, so that any thread may
/// ask it.
class OSTRA_API ResourceDependency : public CObList {
public:
    /// Reads the list of a kind such as "File Share". A kind without a template gets an empty list and no report; what
    /// could not be read is left out, and its code is the thread's last error.
    explicit ResourceDependency(const std::wstring& resourceKind);

    /// An empty list; the argument is not used.
    explicit ResourceDependency(int unused);

    ~ResourceDependency() override;

    int NumberOfDependencies() const { return static_cast<int>(_dependentResources.size()); }
    const StringArray& DependentResources() const { return _dependentResources; }

    /// 1 when that kind is on the list, compared exactly, else 0.
    int IsDependent(const std::wstring& resourceKind) const;

    /// Writes the list to standard output.
    void Info() const;

private:
    StringArray _dependentResources;
};
