#pragma once

#include "plugins/datastore/Value.h"

#include "com/Com.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// What is different between two states of a table.
struct STableChange {
    bool isWhole = false; ///< it changed, or may have, and which rows cannot be told; the lists are empty then
    std::vector<LONG> added;
    std::vector<LONG> changed;
    std::vector<LONG> removed;

    [[nodiscard]] std::size_t Count() const { return added.size() + changed.size() + removed.size(); }
};

/// 64 bits that stand for the values of a row. Equal rows have equal hashes; that different ones have is improbable.
class CRowHash {
public:
    void Add(const SValue& value);
    [[nodiscard]] std::uint64_t Value() const { return m_nValue; }

private:
    void AddBytes(const void* bytes, std::size_t count);
    std::uint64_t m_nValue = 0;
};

/// One state of a table: 16 bytes for each row, from which a later state can be told apart.
class CTableSnapshot {
public:
    /// Of a larger table only that it changed is told, so that a snapshot never takes more than some 3 MB.
    static constexpr std::size_t kMaxRows = 200'000;
    /// More ids than this are not told one by one: an event goes into a file for each client.
    static constexpr std::size_t kMaxIds = 10'000;

    explicit CTableSnapshot(std::string definition = {}) : m_strDefinition(std::move(definition)) {}

    /// The statement that made the table.
    [[nodiscard]] const std::string& Definition() const { return m_strDefinition; }

    /// Adds a row in the order of the ids. False when the table has too many: no need to read on.
    [[nodiscard]] bool AddRow(const SValue& id, std::uint64_t hash);
    /// The table is not to be read to its end.
    void GiveUp();
    [[nodiscard]] bool IsGivenUp() const { return m_bGivenUp; }
    /// How many rows it keeps in memory.
    [[nodiscard]] std::size_t KeptRows() const { return m_rows.size(); }

    /// What is too large takes as long to find too large again, so it is left unread for as many changes of its data
    /// source as it was found so: 1, 2, 4 ... 1,024. True when it is to be left at this change.
    [[nodiscard]] bool IsToBeLeft(const CTableSnapshot& old);
    /// It was found too large, after the state before.
    void FindTooLarge(const CTableSnapshot* old);

    [[nodiscard]] STableChange ChangeSince(const CTableSnapshot& old) const;

private:
    struct SRow {
        LONG id;
        std::uint64_t hash;
    };
    void ForgetIds();
    [[nodiscard]] bool TakesId(const SValue& id) const;

    std::string m_strDefinition;
    std::vector<SRow> m_rows; ///< empty without ids
    std::size_t m_nRows = 0;
    std::uint64_t m_nContent = 0; ///< of all rows in their order
    bool m_bHasIds = true;        ///< all ids are integers of 32 bits, each once
    bool m_bGivenUp = false;
    unsigned m_nPause = 0; ///< changes that a table is left for that was found too large
    unsigned m_nLeft = 0;  ///< of these, how many there were
};
