#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>
#include <platform/cluster/ClusterService.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// An implementation of ClusterService that serves clusters kept in a directory each. An engine registers itself under
/// the name that a cluster's `cluster.json` gives ("engine").
class PLATFORM_API ClusterEngine {
public:
    virtual ~ClusterEngine() = default;
    /// Opens the cluster kept in `directory` (absolute, UTF-8).
    virtual DWORD Open(const std::string& directory, std::shared_ptr<ClusterService>& service) = 0;
    /// Makes an empty cluster named `name` in `directory`, which exists and is empty but for `cluster.json`.
    virtual DWORD Create(const std::string& directory, const std::wstring& name,
                         std::shared_ptr<ClusterService>& service) = 0;
};

/// Makes an engine known; it must live as long as the process. An engine in a library of its own calls this while it is
/// loaded: "libostra-engine-NAME.so.1" is, for a name of lower-case letters, digits and hyphens that is not known.
PLATFORM_API void RegisterClusterEngine(const std::wstring& name, ClusterEngine* engine);

/// Which service answers for a cluster's name: first what the process registered, then the folder of that name under
/// `clusters/` of the state directory, whose `cluster.json` says which engine serves it. Names compare without regard
/// to case. Services stay open and shared within the process as long as anyone holds them.
class PLATFORM_API ClusterDirectory {
public:
    /// Answers for `name` in this process from now on, before any folder; a null service takes that back. What was
    /// registered for that name before, null when nothing was.
    static std::shared_ptr<ClusterService> Register(const std::wstring& name, std::shared_ptr<ClusterService> service);

    /// The service of a cluster. An empty name means the cluster that OSTRA_CLUSTER names, else the only one there is
    /// (of several, none: error::InvalidParameter). 2 when there is no such cluster, 50 when its engine is missing or
    /// too old for it, 1392 when its `cluster.json` is damaged, another code when it cannot be opened.
    static DWORD Resolve(const std::wstring& name, std::shared_ptr<ClusterService>& service);

    /// The names of all clusters, registered and in folders, in name order.
    static StringArray Names();

    /// Makes a new cluster and opens it. `fill`, unless it is empty, gives it what it is to have before it appears
    /// under its name; it must not keep the service. 183 when there is one of that name, 123 for a name that cannot be
    /// one (more than 60 characters, a dot in front, or no file name), 50 without such an engine, the code of `fill`.
    /// It is there whole and filled or not at all; OutcomeUnknown when it is there and cannot be opened.
    static DWORD Create(const std::wstring& name, const std::wstring& engine, std::shared_ptr<ClusterService>& service,
                        const std::function<DWORD(ClusterService& made)>& fill = {});

    /// Deletes a cluster's folder with all it holds, and reports to the event log who did. 2 when there is none.
    /// Services that are still open answer with errors afterwards.
    static DWORD Delete(const std::wstring& name);
};

}  // namespace platform
