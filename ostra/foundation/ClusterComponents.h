#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <platform/base/types.h>
#include <platform/framework/CMapStringToOb.h>

#include <string>

class CComboBox;
class ClusterComponent;

/// An index of components by name: the key is the name that a component had when it was added, and every listing is
/// in key order. It never owns its members; whoever deletes one first takes it out of every index that holds it. It
/// belongs to the thread that its members belong to; nothing but `Info` blocks, for as long as its message box shows.
class OSTRA_API ClusterComponents : public CMapStringToOb {
public:
    explicit ClusterComponents(const std::wstring& name = {});
    ClusterComponents(const ClusterComponents&) = delete;
    ~ClusterComponents() override = default;

    LONG ID() const { return _iD; }
    std::wstring Name() const { return _name; }
    int NumberOfComponents() const;

    /// Adds under the present name, in place of a member with that key; null is ignored. Always 0.
    int Add(ClusterComponent* component);
    /// Adds every member of another collection the same way. Always 0.
    int Add(const ClusterComponents* components);
    /// Takes the entry with that key out; the component itself stays. An empty name is ignored. Always 0.
    int Delete(const std::wstring& name);
    /// The first member, in key order, that has this name now, whatever its key; null when there is none or the name
    /// is empty.
    ClusterComponent* Find(const std::wstring& name) const;

    void SetJustChanged() { _justChanged = 1; }
    /// 1 when the collection changed since the last call, else 0.
    int JustChanged() const;

    /// Shows the members' names in a message box under that title. Returns their number.
    int Info(const std::wstring& title) const;

    /// Copy identifier and title, never members. The reference form lists the other's members on standard output.
    ClusterComponents* operator=(const ClusterComponents& other);
    ClusterComponents* operator=(const ClusterComponents* other);

    /// Equal when identifier, title and tag are; members do not count. A null pointer equals nothing.
    bool operator==(const ClusterComponents& other) const;
    bool operator==(const ClusterComponents* other) const;
    bool operator!=(const ClusterComponents& other) const { return !(*this == other); }
    bool operator!=(const ClusterComponents* other) const { return !(*this == other); }

    ClusterComponents* operator->() { return this; }
    /// Merge nothing.
    ClusterComponents& operator+(const ClusterComponents&) { return *this; }
    ClusterComponents& operator+(const ClusterComponents*) { return *this; }

    /// Adds the members' names to the box and selects the first; null is ignored.
    ClusterComponents& operator>>(CComboBox* comboBox);

protected:
    LONG _iD = 0;
    std::wstring _name;
    LONG _tag = 0;
    NTEventViewer _eventViewer;
    mutable LONG _justChanged = 0;

private:
    void CopyTitle(const ClusterComponents& other);
};
