// SPDX-License-Identifier: MIT
#include "StoreCommand.h"

#include "ExitStatus.h"
#include "InputLines.h"
#include "JsonRecord.h"
#include "Progress.h"
#include "conf/ConfParser.h"
#include "kwlog/Logging.h"
#include "lookup/BatchStorage.h"
#include "lookup/KwStorageHolder.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/Hints.h"
#include "tools/lists/Report.h"

#include <csignal>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

namespace {

/// Lines per transaction: so many that the commit costs little, so few that they can be repeated.
constexpr std::size_t BATCH_LINES = 1000;

/// Bytes per transaction. There are several copies of them in memory.
constexpr std::size_t BATCH_BYTES = 16 << 20;

struct Item {
    std::string text;
    std::unique_ptr<KwStorageHolder> holder;
    std::size_t next_line = 1; ///< the first line that this item has not stored
};

/// Records of longer lines give their memory back after the transaction.
constexpr std::size_t LONG_LINE = 4096;

/// The records of a transaction, and their lines of standard input.
struct Batch {
    std::vector<KwStorageValuesMap> records; ///< the first `count`, then old ones to be reused
    std::size_t count = 0;
    std::vector<std::size_t> lines; ///< of each record; empty for the record of a command line
    std::size_t next_line = 1;      ///< the line after the last record

    /// The line of the record with this index, or the lines of all if there is none.
    std::string GetPlace(std::size_t record) const {
        if (lines.empty())
            return "the record";
        if (record < lines.size())
            return "line " + std::to_string(lines[record]);
        return "lines " + std::to_string(lines.front()) + " to " + std::to_string(lines.back());
    }
};

KwStorageValuesMap RecordOf(const std::vector<std::string>& values) {
    KwStorageValuesMap record;
    for (const std::string& value : values) {
        const std::size_t equals = value.find('=');
        record.m_values[value.substr(0, equals)] = {KwStorageValuesMap::Varchar,
                                                    value.substr(equals + 1)};
    }
    return record;
}

class Storing {
public:
    Storing(const std::string& list, const LogClass& log) : m_log(log) {
        std::vector<std::string> texts;
        try {
            ConfParser::SplitVector(list, texts, ',');
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("the list [" + list + "] cannot be read: " + error.what());
        }
        if (texts.empty())
            throw std::invalid_argument("the list has no items to store into");
        for (std::string& text : texts) {
            Item item{std::move(text), std::make_unique<KwStorageHolder>(log)};
            try {
                item.holder->Init(Quoted(item.text, ','));
            } catch (...) {
                ReportError(log, "Error in init storage [" + item.text + "]: " + CaughtReason());
            }
            m_good &= !TakeCollectedErrors() && !item.holder->Empty();
            m_items.push_back(std::move(item));
        }
    }

    /// True if all items were loaded.
    bool IsGood() const { return m_good; }

    /// Store in every item, even if one fails. If one fails, report it and return false.
    bool Store(const Batch& batch) {
        bool good = true;
        for (Item& item : m_items)
            good &= batch.count == 0 || StoreInto(item, batch);
        return good;
    }

    /// Report the line from which to continue, for each item.
    void ReportNextLines() const {
        for (const Item& item : m_items)
            ReportError(m_log, (m_items.size() == 1 ? "" : "[" + Shortened(item.text) + "]: ") +
                                   "continue from line " + std::to_string(item.next_line));
    }

private:
    /// For items without batches, a logged error counts as a failure too.
    static void StoreEach(KwIfStorage& storage, const Batch& batch, std::size_t& record) {
        for (; record < batch.count; ++record) {
            const std::size_t errors = CountLoggedErrors();
            storage.Store(batch.records[record]);
            if (CountLoggedErrors() != errors)
                throw std::runtime_error("see the error above");
        }
    }

    bool StoreInto(Item& item, const Batch& batch) {
        KwIfStorage& storage = item.holder->GetObjects().front();
        auto* const batches = dynamic_cast<BatchStorage*>(&storage);
        const KwStorageValuesMap* const begin = batch.records.data();
        std::size_t record = 0;
        bool is_unknown = false;
        std::string reason;
        try {
            if (batches)
                batches->StoreBatch({begin, begin + batch.count});
            else
                StoreEach(storage, batch, record);
            item.next_line = batch.next_line;
            return true;
        } catch (const BatchFault& fault) {
            record = fault.GetRecord();
            is_unknown = fault.IsUnknown();
            reason = fault.what();
        } catch (...) { // a plug-in may throw anything
            reason = CaughtReason();
        }
        ReportError(m_log, "[" + Shortened(item.text) + "] could not store " +
                               batch.GetPlace(record) + ": " + reason);
        if (batch.lines.empty())
            return false;
        item.next_line = batch.lines[batches ? 0 : record];
        if (is_unknown)
            ReportError(m_log, "check whether " + batch.GetPlace(batch.lines.size()) +
                                   " are stored before you continue");
        return false;
    }

    const LogClass& m_log;
    bool m_good = true;
    std::vector<Item> m_items;
};

/// The records of standard input.
class RecordReader {
public:
    explicit RecordReader(const LogClass& log) : m_log(log), m_lines(false) {}

    /// Read the records of the next transaction. If a line is invalid, report it and return false;
    /// the records before it are still in `batch`.
    bool Read(Batch& batch) {
        if (m_had_long_line)
            batch.records.clear();
        m_had_long_line = false;
        batch.records.resize(BATCH_LINES);
        batch.count = 0;
        batch.lines.clear();
        std::size_t bytes = 0;
        while (batch.count < BATCH_LINES && bytes < BATCH_BYTES) {
            batch.next_line = m_line + 1;
            if (!m_lines.Next(m_text)) {
                m_at_end = true;
                return m_lines.ReportError(m_log);
            }
            ++m_line;
            if (m_text.find_first_not_of(" \t") == std::string::npos)
                continue;
            m_had_long_line |= m_text.size() > LONG_LINE;
            const std::string reason = ReadJsonRecord(m_text, batch.records[batch.count]);
            if (!reason.empty()) {
                ReportError(m_log, "line " + std::to_string(m_line) + ": " + reason);
                return false;
            }
            ++batch.count;
            batch.lines.push_back(m_line);
            bytes += m_text.size();
        }
        batch.next_line = m_line + 1;
        return true;
    }

    bool IsAtEnd() const { return m_at_end; }

private:
    const LogClass& m_log;
    InputLines m_lines;
    std::string m_text;
    std::size_t m_line = 0;       ///< the number of lines read
    bool m_had_long_line = false; ///< in the batch read last
    bool m_at_end = false;
};

/// Returns the number of records. If one could not be stored, reports it and returns nothing.
std::optional<std::size_t> StoreLines(Storing& storing, const LogClass& log) {
    RecordReader lines(log);
    Progress progress;
    Batch batch;
    std::size_t records = 0;
    while (!lines.IsAtEnd()) {
        const bool is_read = lines.Read(batch);
        if (!storing.Store(batch) || !is_read) {
            storing.ReportNextLines();
            return std::nullopt;
        }
        records += batch.count;
        progress.Show(records);
    }
    return records;
}

} // namespace

std::string WhyNoRecord(const std::vector<std::string>& values) {
    if (values.size() == 1 && values.front() == "-")
        return "";
    for (const std::string& value : values)
        if (value.find('=') == std::string::npos)
            return "'" + value + "' is not NAME=VALUE";
    return "";
}

int RunStoreCommand(const StoreOptions& options, const LogClass& log) {
    std::signal(SIGXFSZ, SIG_IGN); // let the write that makes a file too large fail instead
    std::optional<Storing> storing;
    try {
        storing.emplace(options.list, log);
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        return ExitStatus::BadList;
    }
    if (!storing->IsGood())
        return ExitStatus::BadList;
    std::optional<std::size_t> records = 1;
    if (options.values.front() == "-")
        records = StoreLines(*storing, log);
    else if (!storing->Store(Batch{{RecordOf(options.values)}, 1, {}, 1}))
        records.reset();
    if (!records)
        return ExitStatus::Unavailable;
    std::cout << *records << (*records == 1 ? " record\n" : " records\n");
    return ExitStatus::Found;
}

} // namespace kwlookup
