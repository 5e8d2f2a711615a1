#pragma once

#include <platform/base/little_endian.h>
#include <platform/base/types.h>

#include <algorithm>
#include <cstddef>
#include <span>

// The entries that property lists and value lists are made of.

inline constexpr std::size_t entryHeader = 8;  // syntax word and byte length

constexpr std::size_t Padded(std::size_t size) {
    return (size + 3) & ~std::size_t{3};
}

/// Walks the entries of an answer and never reads behind its end.
class EntryReader {
public:
    explicit EntryReader(std::span<const BYTE> bytes) : _rest(bytes) {}

    bool HasNumber() const { return _rest.size() >= 4; }
    DWORD Peek() const { return platform::NumberAt(_rest.data()); }
    void SkipNumber() { _rest = _rest.subspan(4); }

    /// Takes the next entry: false when it reaches behind the end, where the walk ends.
    bool Next(DWORD& syntax, std::span<const BYTE>& data) {
        if (_rest.size() < entryHeader) return false;
        syntax = platform::NumberAt(_rest.data());
        const std::size_t length = platform::NumberAt(_rest.data() + 4);
        if (length > _rest.size() - entryHeader) return false;
        data = _rest.subspan(entryHeader, length);
        _rest = _rest.subspan(std::min(entryHeader + Padded(length), _rest.size()));
        return true;
    }

private:
    std::span<const BYTE> _rest;
};
