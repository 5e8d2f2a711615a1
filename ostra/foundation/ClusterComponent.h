#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponents.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraDebug.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/foundation/OstraErrors.h>
#include <ostra/foundation/TarnStatus.h>
#include <platform/base/types.h>
#include <platform/framework/CObject.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CStatusBar;

/// What every object of the cluster's model has: its names, its place in the tree of cluster, nodes, groups and
/// resources, its attributes, the state last read, the errors recorded, an event-log writer and a debug log.
///
/// A cluster has thousands of these. A new one opens and allocates nothing while the library's tracing is off: its
/// child collection and its debug log are parts of the object itself, to which `_clusterComponents` and `_debug` point.
///
/// A cluster object, all objects below it and their collections belong to one thread at a time: nothing is locked, and
/// an operation that only reads, such as `StatusCode`, changes the object all the same. Objects of different clusters
/// may be used by different threads at once. What asks the cluster (`Status`, and what calls it) blocks for as long as
/// the cluster takes; nothing else here does.
class OSTRA_API ClusterComponent : public CObject {
public:
    ClusterComponent();
    /// Takes over the identifier and the error record only; children, names, attributes and handles start empty.
    ClusterComponent(const ClusterComponent& other);
    ~ClusterComponent() override;

    /// Reads the object's state from the cluster into `_status` and `_stateString`.
    virtual int Status(int argument) = 0;

    LONG ID() const { return _iD; }
    std::wstring Name() const { return _name; }
    std::wstring ClusterName() const { return _clusterName; }
    std::wstring ParentName() const { return _parentName; }
    std::wstring CurrentOwnerName() const { return _currentOwnerName; }
    /// The object above this one in the tree, which it belongs to; null until set.
    ClusterComponent* CurrentOwner() const { return _currentOwner; }
    /// The cluster object; null where it was not set.
    ClusterComponent* ClusterPtr() const { return _clusterPtr; }
    /// The open cluster's handle, which is the cluster object's to close; null until set.
    HCLUSTER ClusterHandle() const { return _clusterHandle; }
    /// Both maps are this object's.
    const StringMap* CommonAttributes() const { return &_commonAttributes; }
    const StringMap* PrivateAttributes() const { return &_privateAttributes; }

    /// Makes this object the component's owner in the tree and adds it to the collection. The number of components in
    /// the collection afterwards; a null component is not added, a null collection gives 0.
    int Add(ClusterComponents* components, ClusterComponent* component) const;
    void SetOwner(ClusterComponent* owner) { _currentOwner = owner; }
    void SetClusterName(const std::wstring& clusterName) { _clusterName = clusterName; }
    void SetClusterHandle(HCLUSTER clusterHandle) { _clusterHandle = clusterHandle; }

    /// The attribute's value; empty when there is none. Names are case-sensitive.
    std::wstring GetCommonAttribute(const std::wstring& key);
    std::wstring GetPrivateAttribute(const std::wstring& key);

    /// Records an error; an empty text becomes "error " and the code. The number of errors recorded so far.
    int SetError(LONG errorCode, const std::wstring& errorString) const;
    /// The last error recorded; 0 and an empty text when there is none.
    LONG GetErrorCode() const;
    std::wstring GetErrorString() const;

    /// Sets the status as given and returns the code.
    DWORD SetStatus(DWORD statusCode, const std::wstring& statusString);
    /// Reads the state anew (with 0, whatever the argument) and returns its code.
    DWORD StatusCode(int argument);
    /// Reads the state anew and returns its text.
    std::wstring StatusString(int argument);

    /// Where status texts are shown; the bar stays its creator's and must outlive this object. Null changes nothing.
    void SetStatusBar(CStatusBar* statusBar);
    /// Does nothing without a status bar.
    void SetStatusBarText(const std::wstring& text, int pane) const;

    /// Shows nothing and has no effect: a place for callers to name a text, a caption and a message-box style.
    void Message(std::wstring_view, std::wstring_view, UINT) const {}

    /// Traces: into the library's debug log while its bit of the mask is set, else to standard output as it stands.
    /// Texts are cut at 511 characters (the narrow form: UTF-8 bytes, never inside a character). The formats follow
    /// platform::Format.
    void printf(const char* format, ...) const;
    void printf(const wchar_t* format, ...) const;

    /// Copy identifier, name, cluster object and cluster handle. Null changes nothing.
    ClusterComponent* operator=(const ClusterComponent& other);
    ClusterComponent* operator=(const ClusterComponent* other);

protected:
    OstraError* Error() { return &_error; }
    ClusterComponents* ClusterComponentsPtr() const { return _clusterComponents; }

    StringMap _commonAttributes;
    StringMap _privateAttributes;
    std::wstring _clusterName;
    std::wstring _name;
    ClusterComponent* _clusterPtr = nullptr;  // the cluster object; not ours
    HCLUSTER _clusterHandle = nullptr;        // the cluster object's to close
    std::wstring _parentName;
    TarnStatus _status;
    OstraError _error;
    mutable OstraErrors _errors;
    CStatusBar* _statusBar = nullptr;  // the program's
    NTEventViewer _eventViewer;
    std::wstring _currentOwnerName;
    std::wstring _stateString;
    LONG _iD = 0;
    ClusterComponents* const _clusterComponents;  // our own _children
    ClusterComponent* _currentOwner = nullptr;    // the object above, whose member we are
    OstraDebug* const _debug;                     // our own _debugLog
    std::wstring _attributeValue;                 // what the last attribute look-up found

private:
    friend class ClusterComponents;  // compares names in place

    void Trace(std::wstring_view text, bool isLogged) const;

    ClusterComponents _children;
    OstraDebug _debugLog;
    mutable std::vector<std::unique_ptr<OstraError>> _recordedErrors;  // what _errors lists
};
