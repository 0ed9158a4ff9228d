// The store under CIniFile: items named without regard to case, kept in insertion order with an
// open-addressing hash index for lookups and a sorted view built on demand for enumeration.
#pragma once

#include <platform/cstring.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace inifile {

// A hash on which names that CString::CompareNoCase calls equal always agree. It mixes only the
// ASCII bytes, lower-cased, leaving out 'i', 'k' and '?': those are the only ASCII bytes that a
// lowered text can hold without an equal byte in the original (the lower case of U+0130 and
// U+212A, and the replacement of invalid bytes), and bytes of 0x80 and above are left out for
// the same reason. Reads `len` bytes; allocates nothing.
inline std::uint32_t _NameHash(char const* name, std::size_t len) {
    std::uint32_t h = 2166136261u;
    for (std::size_t i = 0; i < len; ++i) {
        unsigned c = static_cast<unsigned char>(name[i]);
        if (c - 'A' < 26u)
            c += 'a' - 'A';
        if (c >= 0x80 || c == 'i' || c == 'k' || c == '?')
            continue;
        h = (h ^ c) * 16777619u;
    }
    return h ^ (h >> 15);
}

// Case-insensitive equality of a stored name and a NUL-terminated `name` of `len` bytes. Pure
// ASCII on both sides is compared here; anything else goes to CompareNoCase, whose rules for
// the rest of Unicode and for invalid text decide.
inline bool _NamesEqual(zulwin::CString const& stored, char const* name, std::size_t len) {
    std::size_t const n = static_cast<std::size_t>(stored.GetLength());
    char const* s = stored.GetString();
    if (n == len) {
        std::size_t i = 0;
        for (; i < n; ++i) {
            unsigned a = static_cast<unsigned char>(s[i]);
            unsigned b = static_cast<unsigned char>(name[i]);
            if ((a | b) >= 0x80)
                break;
            if (a - 'A' < 26u)
                a += 'a' - 'A';
            if (b - 'A' < 26u)
                b += 'a' - 'A';
            if (a != b)
                return false;
        }
        if (i == n)
            return true;
    } else if (std::find_if(s, s + n, [](char c) { return c & 0x80; }) == s + n &&
               std::find_if(name, name + len, [](char c) { return c & 0x80; }) == name + len) {
        return false;
    }
    return stored.CompareNoCase(name) == 0;
}

// CString::CompareNoCase(a, b) below zero, with the all-ASCII case (nearly every name) decided
// here without a call.
inline bool _NameLess(zulwin::CString const& a, zulwin::CString const& b) {
    auto const* x = reinterpret_cast<unsigned char const*>(a.GetString());
    auto const* y = reinterpret_cast<unsigned char const*>(b.GetString());
    for (;; ++x, ++y) {
        unsigned c = *x;
        unsigned d = *y;
        if ((c | d) >= 0x80)
            return a.CompareNoCase(b.GetString()) < 0;
        if (c - 'A' < 26u)
            c += 'a' - 'A';
        if (d - 'A' < 26u)
            d += 'a' - 'A';
        if (c != d || c == 0)
            return c < d;
    }
}

// Items of type T expose `CString const& Name() const` and a public `std::uint32_t hash`
// holding _NameHash of the name.
template <class T> class _CNameTable {
public:
    std::size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    T& operator[](std::size_t i) { return m_items[i]; }
    T const& operator[](std::size_t i) const { return m_items[i]; }

    // The index of the item named `name` (NUL-terminated, `len` bytes), or npos.
    static constexpr std::size_t npos = ~std::size_t(0);
    std::size_t Find(char const* name, std::size_t len, std::uint32_t hash) const {
        if (m_slots.empty())
            return npos;
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
            std::uint32_t const ref = m_slots[slot];
            if (ref == 0)
                return npos;
            T const& item = m_items[ref - 1];
            if (item.hash == hash && _NamesEqual(item.Name(), name, len))
                return ref - 1;
        }
    }
    std::size_t Find(char const* name) const {
        std::size_t const len = std::strlen(name);
        return Find(name, len, _NameHash(name, len));
    }

    // Adds an item, built in place from `args`, whose name is not yet present; returns its
    // index.
    template <class... Args> std::size_t Add(Args&&... args) {
        if ((m_items.size() + 1) * 4 > m_slots.size() * 3) {
            Rehash(m_slots.empty() ? 16 : m_slots.size() * 2);
            m_items.reserve(m_slots.size());
        }
        m_items.emplace_back(std::forward<Args>(args)...);
        Place(static_cast<std::uint32_t>(m_items.size()));
        m_sortedValid = false;
        return m_items.size() - 1;
    }

    // Makes room for `count` items in all, so that adding up to that many moves nothing.
    void Reserve(std::size_t count) {
        std::size_t slots = m_slots.empty() ? 16 : m_slots.size();
        while (count * 4 > slots * 3)
            slots *= 2;
        if (slots != m_slots.size())
            Rehash(slots);
        m_items.reserve(count);
    }

    // Removes the item at `index`; the last item takes its place.
    void RemoveAt(std::size_t index) {
        Unplace(SlotOf(index));
        std::size_t const last = m_items.size() - 1;
        if (index != last) {
            m_slots[SlotOf(last)] = static_cast<std::uint32_t>(index + 1);
            m_items[index] = std::move(m_items[last]);
        }
        m_items.pop_back();
        m_sortedValid = false;
    }

    void Clear() {
        m_items.clear();
        m_slots.clear();
        m_sorted.clear();
        m_sortedValid = false;
    }

    // Indexes of the items in case-insensitive order of their names.
    std::vector<std::uint32_t> const& Sorted() const {
        if (!m_sortedValid) {
            m_sorted.resize(m_items.size());
            for (std::size_t i = 0; i < m_sorted.size(); ++i)
                m_sorted[i] = static_cast<std::uint32_t>(i);
            T const* items = m_items.data();
            std::sort(m_sorted.begin(), m_sorted.end(), [items](std::uint32_t a, std::uint32_t b) {
                return _NameLess(items[a].Name(), items[b].Name());
            });
            m_sortedValid = true;
        }
        return m_sorted;
    }

private:
    void Place(std::uint32_t ref) {
        std::size_t const mask = m_slots.size() - 1;
        std::size_t slot = m_items[ref - 1].hash & mask;
        while (m_slots[slot] != 0)
            slot = (slot + 1) & mask;
        m_slots[slot] = ref;
    }

    void Rehash(std::size_t slots) {
        m_slots.assign(slots, 0);
        for (std::size_t i = 0; i < m_items.size(); ++i)
            Place(static_cast<std::uint32_t>(i + 1));
    }

    std::size_t SlotOf(std::size_t index) const {
        std::size_t const mask = m_slots.size() - 1;
        std::size_t slot = m_items[index].hash & mask;
        while (m_slots[slot] != index + 1)
            slot = (slot + 1) & mask;
        return slot;
    }

    // Backward-shift deletion: later members of the probe run move up, so no tombstones are
    // needed and lookups stay as short as after a fresh build.
    void Unplace(std::size_t hole) {
        std::size_t const mask = m_slots.size() - 1;
        m_slots[hole] = 0;
        for (std::size_t next = (hole + 1) & mask; m_slots[next] != 0; next = (next + 1) & mask) {
            std::size_t const home = m_items[m_slots[next] - 1].hash & mask;
            // The entry may move into the hole when its home is not within (hole, next].
            if (((next - home) & mask) >= ((next - hole) & mask)) {
                m_slots[hole] = m_slots[next];
                m_slots[next] = 0;
                hole = next;
            }
        }
    }

    std::vector<T> m_items;
    std::vector<std::uint32_t> m_slots;
    mutable std::vector<std::uint32_t> m_sorted;
    mutable bool m_sortedValid = false;
};

} // namespace inifile
