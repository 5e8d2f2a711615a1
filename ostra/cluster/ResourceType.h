#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/OstraError.h>

#include <array>
#include <string>

/// One kind of cluster resource: its type name, and the parameter strings (name "=" registry type ":" value) that a
/// Resource of this kind writes as its properties while it is created. A type belongs to whoever made it, must outlive
/// the resources that use it, and is changed by each of them: its lists are working space, not constants. Used by one
/// thread at a time, together with those resources.
class OSTRA_API ResourceType : public ClusterComponent {
public:
    /// The lists of parameter strings.
    static constexpr std::size_t commonList = 0;
    static constexpr std::size_t privateList = 1;
    static constexpr std::size_t directoryList = 2;  // a print spooler's

    /// Holds the handle without owning it. Collections find the type under `name`.
    ResourceType(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName);
    ResourceType(const ResourceType&) = delete;
    ResourceType& operator=(const ResourceType&) = delete;

    /// Always 0: a type has no state.
    int Status(int) override;
    /// Takes one value of a template. Most kinds have none and ignore it.
    virtual void SetDefault(const std::wstring&, const std::wstring&) {}
    /// The value stored under exactly that name, or an empty text.
    virtual std::wstring GetAttribute(const std::wstring& name, const StringMap* map) const;
    /// Always 0.
    virtual int GetAttributes(const StringMap*) { return 0; }
    /// Fills the lists with the kind's default parameters. A type without a class of its own has none, says so on
    /// standard output and leaves the lists alone.
    virtual void InitializeParameters();
    /// Replaces the lists by the caller's strings: those named "Description" and "SeparateMonitor" are common, all
    /// others private. Null stands for no strings.
    virtual void UpdateParameters(const StringArray* parameters);
    /// Writes nothing; always 0.
    virtual int UpdateRegistry(const StringArray* parameters);

    /// The cluster resource type name.
    std::wstring Name() const { return _typeName; }
    HCLUSTER Handle() const { return _typeClusterHandle; }
    /// Names of attributes that programs show for this kind.
    const StringArray& AttributeNames() const { return _attributeNames; }
    /// One of the lists above; any other is empty.
    const StringArray& Parameters(std::size_t list) const;

    /// Opens the cluster by name and walks its resource types; nothing of them is kept. Always 0.
    int Discover();
    /// Traces the lists by category. Always an empty text.
    std::wstring Info();

protected:
    /// Empties the categories and every list.
    void DeinitializeParameters();
    StringArray _categories;
    std::array<StringArray, 5> _parameters;
    std::wstring _typeClusterName;
    HCLUSTER _typeClusterHandle = nullptr;  // the caller's
    StringArray _attributeNames;
    OstraError _typeError;
    std::wstring _typeName;
};
