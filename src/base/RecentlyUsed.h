#pragma once

#include <cstddef>
#include <list>
#include <unordered_map>
#include <utility>

namespace velk {

/// Values under keys, as many as fit in a total cost: the ones that were not used for longest go first. For
/// one thread.
template <typename Key, typename Value, typename Hash = std::hash<Key>> class RecentlyUsed {
public:
    explicit RecentlyUsed(std::size_t maximumCost)
        : m_maximumCost(maximumCost)
    {
    }

    /// The value, which counts as used now, or null. Good until the next `add`.
    Value* find(Key const& key)
    {
        auto const found = m_places.find(key);
        if (found == m_places.end())
            return nullptr;
        m_entries.splice(m_entries.begin(), m_entries, found->second);
        return &found->second->value;
    }

    /// Adds a value under a key that has none. A value that costs more than all may together stays until the
    /// next `add`.
    Value& add(Key const& key, Value value, std::size_t cost = 1)
    {
        while (!m_entries.empty() && m_cost + cost > m_maximumCost)
            dropLast();
        m_entries.push_front({key, std::move(value), cost});
        m_places.emplace(key, m_entries.begin());
        m_cost += cost;
        return m_entries.front().value;
    }

private:
    struct Entry {
        Key key;
        Value value;
        std::size_t cost;
    };

    void dropLast()
    {
        m_cost -= m_entries.back().cost;
        m_places.erase(m_entries.back().key);
        m_entries.pop_back();
    }

    std::size_t m_maximumCost;
    std::size_t m_cost = 0;
    /// The last used one first.
    std::list<Entry> m_entries;
    std::unordered_map<Key, typename std::list<Entry>::iterator, Hash> m_places;
};

} // namespace velk
