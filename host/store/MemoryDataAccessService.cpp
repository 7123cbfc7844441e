#include "MemoryDataAccessService.h"

std::optional<DialPlanRows::Overview> MemoryDataAccessService::readOverview() { return m_rows.overview; }

void MemoryDataAccessService::writeOverview(const std::optional<DialPlanRows::Overview>& overview)
{
    m_rows.overview = overview;
}

std::vector<DialPlanRows::Entry> MemoryDataAccessService::readEntries()
{
    std::vector<DialPlanRows::Entry> entries;
    entries.reserve(m_rows.entries.size());
    for (const auto& [id, entry] : m_rows.entries) entries.push_back(entry);
    return entries;
}

std::optional<DialPlanRows::Entry> MemoryDataAccessService::readEntry(long long id)
{
    const auto found = m_rows.entries.find(id);
    if (found == m_rows.entries.end()) return std::nullopt;
    return found->second;
}

void MemoryDataAccessService::writeEntry(const DialPlanRows::Entry& entry) { m_rows.entries[entry.id] = entry; }
void MemoryDataAccessService::removeEntry(long long id) { m_rows.entries.erase(id); }
void MemoryDataAccessService::removeAllEntries() { m_rows.entries.clear(); }

void MemoryDataAccessService::beginChange()
{
    if (m_before) throw StoreError("a change of the store is already under way");
    m_before = m_rows;
}

void MemoryDataAccessService::commitChange() { m_before.reset(); }

void MemoryDataAccessService::rollbackChange() noexcept
{
    if (!m_before) return;
    m_rows = std::move(*m_before);
    m_before.reset();
}
