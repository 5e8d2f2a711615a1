#pragma once

#include <platform/framework/CObject.h>

#include <cstddef>
#include <utility>
#include <vector>

/// A growable array; elements are numbered from 0. It owns its elements, but not what they may point at. An index that
/// names no element is answered with a value-initialised one and changes nothing.
template <typename Type>
class CArray : public CObject {
public:
    using const_iterator = typename std::vector<Type>::const_iterator;

    int GetSize() const { return static_cast<int>(_elements.size()); }

    /// The index of the new element.
    int Add(Type element) {
        _elements.push_back(std::move(element));
        return GetSize() - 1;
    }

    Type GetAt(int index) const { return Has(index) ? _elements[static_cast<std::size_t>(index)] : Type{}; }
    Type operator[](int index) const { return GetAt(index); }

    void SetAt(int index, Type element) {
        if (Has(index)) _elements[static_cast<std::size_t>(index)] = std::move(element);
    }

    /// The elements behind move down; what of `count` reaches over the end is left out.
    void RemoveAt(int index, int count = 1) {
        if (!Has(index) || count <= 0) return;
        const auto first = _elements.begin() + index;
        _elements.erase(first, count < GetSize() - index ? first + count : _elements.end());
    }

    void RemoveAll() { _elements.clear(); }

    /// Gives back the room that removed elements had.
    void FreeExtra() { _elements.shrink_to_fit(); }

    const_iterator begin() const { return _elements.begin(); }
    const_iterator end() const { return _elements.end(); }

private:
    bool Has(int index) const { return index >= 0 && index < GetSize(); }

    std::vector<Type> _elements;
};
