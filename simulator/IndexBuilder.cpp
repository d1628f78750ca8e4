// Makes the index of a collection: the documents in order, each below its categories.
#include <algorithm>
#include <compare>
#include <iterator>
#include <utility>

#include "CollectionIndex.h"
#include "SortKey.h"
#include "SummaryBuffer.h"

namespace simulator {

namespace {

// An entry must fit a read buffer, whose length is a WORD, with everything else that is asked of
// it.
constexpr std::size_t LargestSummary = 65'000;

// A document below one value of each categorised column.
struct Placement {
  std::size_t document;  // its number in the order of the documents
  std::vector<SortKey> keys;
  std::vector<ColumnValue> values;
};

bool isCategorised(const ViewColumn& column) {
  return (column.flags & VCF1_M_SortCategorize) != 0;
}

void add(SummaryBuilder& summary, const ViewColumn& column, const ColumnValue& value) {
  if (value.absent())
    summary.addValue(column.item, nullptr, 0);
  else
    summary.add(column.item, value.type, value.bytes.data(), value.bytes.size());
}

}  // namespace

class IndexBuilder {
 public:
  IndexBuilder(CollectionIndex& index, const std::vector<ViewColumn>& columns)
      : index_(index), columns_(columns) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (isCategorised(columns[i])) {
        // One level must be left for the documents.
        if (categorised_.size() < MAXTUMBLERLEVELS - 1) categorised_.push_back(i);
      } else if ((columns[i].flags & VCF1_M_Sort) != 0) {
        sorted_.push_back(i);
      }
    }
  }

  void build(const std::vector<ViewDocument>& documents) {
    index_.entries_.emplace_back();
    const std::vector<const ViewDocument*> order = inOrder(documents);
    for (const ViewDocument* document : order) index_.summaries_.push_back(summaryOf(*document));
    const Placement* previous = nullptr;
    std::vector<std::size_t> parents{CollectionIndex::Root};  // of the levels down to a document
    const std::vector<Placement> placements = placementsOf(order);
    for (const Placement& placement : placements) {
      std::size_t level = 0;
      if (previous) {
        level = static_cast<std::size_t>(
            std::mismatch(placement.keys.begin(), placement.keys.end(), previous->keys.begin())
                .first -
            placement.keys.begin());
      }
      parents.resize(level + 1);
      for (; level < categorised_.size(); ++level)
        parents.push_back(addCategory(parents.back(), level, placement.values[level]));
      const ViewDocument& document = *order[placement.document];
      CollectionIndex::Entry entry;
      entry.id = document.id;
      entry.noteClass = document.noteClass;
      entry.unid = document.unid;
      entry.summary = placement.document;
      addEntry(parents.back(), std::move(entry));
      previous = &placement;
    }
    // From the back, so that what is below an entry is complete when the entry is counted.
    for (std::size_t number = index_.entries_.size(); --number > 0;) {
      const CollectionIndex::Entry& entry = index_.entries_[number];
      index_.entries_[entry.parent].descendants += entry.descendants + 1;
    }
  }

 private:
  std::partial_ordering compare(const SortKey& left, const SortKey& right,
                                std::size_t column) const {
    const bool descending = (columns_[column].flags & VCF1_M_SortDescending) != 0;
    return descending ? right <=> left : left <=> right;
  }

  // `columns`: which ones the keys are of.
  std::partial_ordering compare(const std::vector<SortKey>& left, const std::vector<SortKey>& right,
                                const std::vector<std::size_t>& columns) const {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (const auto order = compare(left[i], right[i], columns[i]); std::is_neq(order))
        return order;
    }
    return std::partial_ordering::equivalent;
  }

  // The documents come by ID, and stay so where the columns do not decide.
  std::vector<const ViewDocument*> inOrder(const std::vector<ViewDocument>& documents) const {
    using Row = std::pair<std::vector<SortKey>, const ViewDocument*>;
    std::vector<Row> rows;
    rows.reserve(documents.size());
    for (const ViewDocument& document : documents) {
      std::vector<SortKey> keys;
      for (const std::size_t column : sorted_) keys.push_back(sortKeyOf(document.values[column]));
      rows.emplace_back(std::move(keys), &document);
    }
    std::stable_sort(rows.begin(), rows.end(), [this](const Row& left, const Row& right) {
      return std::is_lt(compare(left.first, right.first, sorted_));
    });
    std::vector<const ViewDocument*> order;
    order.reserve(rows.size());
    std::transform(rows.begin(), rows.end(), std::back_inserter(order),
                   [](const Row& row) { return row.second; });
    return order;
  }

  std::vector<Placement> placementsOf(const std::vector<const ViewDocument*>& documents) const {
    std::vector<Placement> all;
    for (std::size_t i = 0; i < documents.size(); ++i) {
      std::vector<Placement> ofDocument{{i, {}, {}}};
      for (const std::size_t column : categorised_) {
        std::vector<Placement> longer;
        for (const ColumnValue& value : membersOf(documents[i]->values[column])) {
          for (Placement placement : ofDocument) {
            placement.keys.push_back(sortKeyOf(value));
            placement.values.push_back(value);
            longer.push_back(std::move(placement));
          }
        }
        ofDocument = std::move(longer);
      }
      std::move(ofDocument.begin(), ofDocument.end(), std::back_inserter(all));
    }
    std::stable_sort(all.begin(), all.end(), [this](const Placement& left, const Placement& right) {
      const auto order = compare(left.keys, right.keys, categorised_);
      return std::is_neq(order) ? std::is_lt(order) : left.document < right.document;
    });
    // A value that an item has twice makes one entry.
    const auto same = [](const Placement& left, const Placement& right) {
      return left.document == right.document && left.keys == right.keys;
    };
    all.erase(std::unique(all.begin(), all.end(), same), all.end());
    return all;
  }

  std::size_t addEntry(std::size_t parent, CollectionIndex::Entry entry) {
    const std::size_t number = index_.entries_.size();
    std::vector<std::size_t>& siblings = index_.entries_[parent].children;
    siblings.push_back(number);
    entry.parent = parent;
    entry.rank = static_cast<DWORD>(siblings.size());
    entry.level =
        parent == CollectionIndex::Root ? 0 : static_cast<WORD>(index_.entries_[parent].level + 1);
    index_.entries_.push_back(std::move(entry));
    return number;
  }

  std::size_t addCategory(std::size_t parent, std::size_t level, const ColumnValue& value) {
    constexpr unsigned IndentShift = 24;
    SummaryBuilder summary;
    add(summary, columns_[categorised_[level]], value);
    CollectionIndex::Entry entry;
    entry.id = NOTEID_CATEGORY | static_cast<DWORD>(level) << IndentShift |
               (++categories_ & NOTEID_CATEGORY_ID);
    entry.summary = index_.summaries_.size();
    index_.summaries_.push_back(summary.build());
    return addEntry(parent, std::move(entry));
  }

  // Every column is there, those without a value as well: hosts may count them.
  std::vector<BYTE> summaryOf(const ViewDocument& document) const {
    SummaryBuilder summary;
    std::size_t size = sizeof(ITEM_TABLE);
    for (const ViewColumn& column : columns_) size += sizeof(ITEM) + column.item.size();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const ColumnValue& value = document.values[i];
      const std::size_t larger = size + sizeof value.type + value.bytes.size();
      const bool fits = !value.absent() && larger <= LargestSummary;
      add(summary, columns_[i], fits ? value : ColumnValue());
      if (fits) size = larger;
    }
    return summary.build();
  }

  CollectionIndex& index_;
  const std::vector<ViewColumn>& columns_;
  std::vector<std::size_t> categorised_;  // columns, from left to right
  std::vector<std::size_t> sorted_;
  DWORD categories_ = 0;
};

CollectionIndex::CollectionIndex(const std::vector<ViewDocument>& documents,
                                 const std::vector<ViewColumn>& columns) {
  IndexBuilder(*this, columns).build(documents);
}

}  // namespace simulator
