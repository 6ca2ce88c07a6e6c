// In-memory data sets: navigation, index, key search, ranges and editing over a ColumnStore.
//
// The cursor follows the host's rules: Next past the last visible row sets Eof and stays on that
// row (reads then give the last row again); an unsuccessful FindKey leaves the cursor where it
// was; Delete moves to the next visible row.
#include "host/memory_data_set.hpp"

#include <algorithm>
#include <optional>
#include <set>

#include "runtime/column_store.hpp"
#include "runtime/filter_program.hpp"
#include "runtime/run_each.hpp"
#include "runtime/sort_runs.hpp"

using nrw::RowId;

namespace {
// Tombstones are swept from the index once they are more than half of it (and past this floor,
// so that small tables are not rebuilt on every delete).
constexpr size_t kSweepFloor = 64;
// A bulk append gives each target a thread of its own from this many source rows on.
constexpr size_t kRowsForAThread = 4096;

// A copy shares the store it copies when at least three quarters of the store's rows are the
// copy's; the rest stay in it as deleted rows.
bool WorthSharing(size_t rows_taken, size_t store_rows) {
  return (store_rows - rows_taken) * 4 <= store_rows;
}
}  // namespace

struct TMemoryDataSet::Impl {
  std::unique_ptr<nrw::ColumnStore> store;
  std::vector<uint8_t> deleted;  // by row id; 1 also for rows appended and not yet posted
  std::vector<RowId> order;      // rows in index order; may hold tombstones
  size_t tombstones = 0;         // deleted rows still in `order`
  std::vector<RowId> pending;    // posted under an index, merged on the next read
  bool order_dirty = false;      // an indexed value changed: sort again on the next read
  std::vector<int> index_fields;

  size_t pos = 0;   // current position in `order`
  bool eof = true;  // no current row, or Next went past the last visible row
  bool has_row = false;
  size_t lo = 0, hi = 0;  // the range, as positions in `order`
  bool has_range = false;
  TVariantArray range_start, range_end;
  std::unique_ptr<nrw::FilterProgram> filter;
  std::optional<int> count_cache;
  std::optional<RowId> land_on;  // row to put the cursor on after the next merge

  RowId edit_row = 0;
  std::vector<Variant> saved;  // values of the row before Edit, for Cancel

  // A filter with a required "field = value" is served from `by_value` (row ids sorted by that
  // field, built once per field until the rows change): the visible candidates are the rows of
  // that value, as positions in `order` (kept sorted, rebuilt when the order changes).
  std::optional<nrw::FilterProgram::Equality> equality;
  int by_value_field = -1;
  std::vector<RowId> by_value;
  std::vector<size_t> candidates;
  bool candidates_valid = false;

  std::vector<size_t> position_of_row;  // row id -> position in `order`
  bool positions_valid = false;

  // The first index field's values in index order (for a numeric first field whose values are
  // exact as doubles), so that a key search probes one contiguous array instead of two cells of
  // a row scattered over the store at every step. Rows with a null first field come first.
  std::vector<double> lead_keys;
  size_t lead_nulls = 0;
  bool lead_valid = false;   // built for the current order
  bool lead_usable = false;  // the first index field allows it
  size_t lead_hint = 0;      // where the last search ended
  // The last key searched and its positions: a document's rows are found, then taken as a
  // range, with the same key.
  bool lead_memo = false;
  double lead_memo_key = 0;
  size_t lead_memo_first = 0, lead_memo_last = 0;

  // Every row gone; the fields, index list, range and filter stay.
  void DropRows() {
    store->Clear();
    deleted.clear();
    order.clear();
    pending.clear();
    tombstones = 0;
    order_dirty = false;
    land_on.reset();
    count_cache.reset();
    RowsChanged();
  }
  void RowsChanged() {
    by_value_field = -1;
    positions_valid = false;
    candidates_valid = false;
    lead_valid = false;
  }
  void OrderChanged() {
    positions_valid = false;
    candidates_valid = false;
    lead_valid = false;
  }
  bool PrepareLead() {
    if (lead_valid) {
      return lead_usable;
    }
    lead_valid = true;
    lead_memo = false;
    // `order` is the index's, so its first field's keys come in order.
    lead_usable = NumericLeadKeys() > 0 && ReadLeadKeys();
    return lead_usable;
  }
  // Reads the first index field's keys of the rows in `order` into `lead_keys` (0 for an empty
  // value, counted in `lead_nulls`). False as soon as they are out of order (empty ones first).
  bool ReadLeadKeys() {
    const int field = index_fields[0];
    const size_t rows = order.size();
    lead_keys.clear();
    lead_keys.reserve(rows);
    size_t nulls = 0;
    for (size_t p = 0; p < rows; ++p) {
      const RowId row = order[p];
      if (store->IsNull(row, field)) {
        if (nulls != p) {
          return false;
        }
        lead_keys.push_back(0);
        ++nulls;
        continue;
      }
      const double key = store->SortKey(row, field);
      if (p > nulls && key < lead_keys.back()) {
        return false;
      }
      lead_keys.push_back(key);
    }
    lead_nulls = nulls;
    return true;
  }
  // The positions whose first index field equals `value`; false when the contiguous keys
  // cannot answer (then the rows are compared one by one).
  bool LeadRange(const Variant& value, size_t& first, size_t& last) {
    constexpr int64_t kExact = int64_t{1} << 53;
    if (!PrepareLead()) {
      return false;
    }
    if (value.IsNull()) {
      first = 0;
      last = lead_nulls;
      return true;
    }
    if (value.GetKind() == Variant::Kind::Integer &&
        (value.AsInteger() > kExact || value.AsInteger() < -kExact)) {
      return false;
    }
    const double key = value.AsFloat();
    if (lead_memo && key == lead_memo_key) {
      first = lead_memo_first;
      last = lead_memo_last;
      return true;
    }
    first = Gallop(lead_nulls, lead_keys.size(), key, false, lead_hint);
    last = Gallop(first, lead_keys.size(), key, true, first);
    lead_hint = first;
    lead_memo = true;
    lead_memo_key = key;
    lead_memo_first = first;
    lead_memo_last = last;
    return true;
  }
  // The first position of [from, to) whose lead key is not below `key` (above it, for `upper`),
  // searched from `hint` on in growing steps: a listing searches keys in increasing order, so
  // the answer is usually a few positions past the previous one, in memory already read.
  size_t Gallop(size_t from, size_t to, double key, bool upper, size_t hint) const {
    const auto before = [&](double x) { return upper ? !(key < x) : x < key; };
    size_t low = from, high = to;
    // The upper bound is searched from the lower one, so `hint` may be `from` itself.
    if (hint >= from && hint < to) {
      if (before(lead_keys[hint])) {
        // A few growing steps; a key far ahead is searched for in all that follows.
        constexpr size_t kLastStep = 256;
        size_t known = hint;  // before the bound
        size_t step = 1;
        while (step <= kLastStep && known + step < to && before(lead_keys[known + step])) {
          known += step;
          step *= 2;
        }
        low = known + 1;
        high = step > kLastStep ? to : std::min(known + step, to);
      } else {
        high = hint;
      }
    }
    const auto begin = lead_keys.begin();
    return static_cast<size_t>(std::partition_point(begin + static_cast<std::ptrdiff_t>(low),
                                                    begin + static_cast<std::ptrdiff_t>(high),
                                                    before) -
                               begin);
  }
  // The positions in `order` of the rows whose equality field holds the filter's value, sorted.
  const std::vector<size_t>& Candidates() {
    if (candidates_valid) {
      return candidates;
    }
    const int field = equality->field;
    if (by_value_field != field) {
      by_value.resize(deleted.size());
      for (RowId r = 0; r < deleted.size(); ++r) {
        by_value[r] = r;
      }
      std::stable_sort(by_value.begin(), by_value.end(),
                       [&](RowId x, RowId y) { return store->Compare(x, y, field) < 0; });
      by_value_field = field;
    }
    if (!positions_valid) {
      position_of_row.assign(deleted.size(), SIZE_MAX);
      for (size_t p = 0; p < order.size(); ++p) {
        position_of_row[order[p]] = p;
      }
      positions_valid = true;
    }
    const auto first = std::partition_point(by_value.begin(), by_value.end(), [&](RowId r) {
      return store->CompareToValue(r, field, equality->value) < 0;
    });
    const auto last = std::partition_point(first, by_value.end(), [&](RowId r) {
      return store->CompareToValue(r, field, equality->value) == 0;
    });
    candidates.clear();
    for (auto it = first; it != last; ++it) {
      if (position_of_row[*it] != SIZE_MAX) {
        candidates.push_back(position_of_row[*it]);
      }
    }
    std::sort(candidates.begin(), candidates.end());
    candidates_valid = true;
    return candidates;
  }

  bool Less(RowId a, RowId b) const { return LessFrom(0, a, b); }
  // Compares by the index fields from the `first`-th on, then by row id.
  bool LessFrom(size_t first, RowId a, RowId b) const {
    for (size_t i = first; i < index_fields.size(); ++i) {
      const int c = store->Compare(a, b, index_fields[i]);
      if (c != 0) {
        return c < 0;
      }
    }
    return a < b;
  }
  // A row's leading numeric index fields (up to two) copied beside its id for sorting, so that
  // most comparisons read neither the store nor its null flags.
  struct SortItem {
    double key[2];
    RowId row;
    uint8_t null[2];
  };
  // How many leading index fields (at most two) sort by their numeric key.
  size_t NumericLeadKeys() const {
    size_t keys = 0;
    while (keys < 2 && keys < index_fields.size() && store->IsNumeric(index_fields[keys]) &&
           store->SortKeysExact(index_fields[keys])) {
      ++keys;
    }
    return keys;
  }
  // Sorts `order`, which holds the rows in id order, by the index (ties by row id). Rows often
  // come in index order already, or in order of its first field (a provider's result by key):
  // that is checked first. True when `lead_keys` and `lead_nulls` were left holding the first
  // field's keys in the new order.
  bool SortOrder() {
    if (index_fields.empty()) {
      return false;
    }
    const size_t keys = NumericLeadKeys();
    if (keys == 0) {
      const auto less = [this](RowId a, RowId b) { return Less(a, b); };
      if (!std::is_sorted(order.begin(), order.end(), less)) {
        nrw::SortInHalves(order.begin(), order.end(), less);
      }
      return false;
    }
    if (SortWithinLeadGroups()) {
      return true;
    }
    std::vector<SortItem> items(order.size());
    for (size_t p = 0; p < order.size(); ++p) {
      SortItem& item = items[p];
      item.row = order[p];
      for (size_t k = 0; k < 2; ++k) {
        const bool null = k >= keys || store->IsNull(item.row, index_fields[k]);
        item.null[k] = null ? 1 : 0;
        item.key[k] = null ? 0 : store->SortKey(item.row, index_fields[k]);
      }
    }
    // Three-way, by the copied keys only (null first).
    const auto compare_keys = [keys](const SortItem& a, const SortItem& b) {
      for (size_t k = 0; k < keys; ++k) {
        if (a.null[k] != b.null[k]) {
          return a.null[k] > b.null[k] ? -1 : 1;
        }
        if (a.key[k] < b.key[k]) {
          return -1;
        }
        if (b.key[k] < a.key[k]) {
          return 1;
        }
      }
      return 0;
    };
    const auto item_less = [&](const SortItem& a, const SortItem& b) {
      const int c = compare_keys(a, b);
      return c != 0 ? c < 0 : LessFrom(keys, a.row, b.row);
    };
    if (keys == index_fields.size() && PlaceByFewKeys(items, compare_keys)) {
      return false;
    }
    nrw::SortRuns(items.begin(), items.end(), item_less);
    for (size_t p = 0; p < order.size(); ++p) {
      order[p] = items[p].row;
    }
    return false;
  }
  // Rows in order of the first index field (a new index that extends the key they came in)
  // need only their groups of equal first value sorted, a few rows each. One pass over that
  // field finds out, and leaves its keys in `lead_keys` for the searches. False, with `order`
  // untouched, when the rows are not in that order. The first field sorts by exact keys.
  bool SortWithinLeadGroups() {
    if (!ReadLeadKeys()) {
      return false;
    }
    if (index_fields.size() == 1) {
      return true;
    }
    const size_t rows = order.size();
    const size_t nulls = lead_nulls;
    const auto rest_less = [this](RowId a, RowId b) { return LessFrom(1, a, b); };
    const auto sort_group = [&](size_t first, size_t last) {
      if (last - first == 2) {
        if (rest_less(order[first + 1], order[first])) {
          std::swap(order[first], order[first + 1]);
        }
        return;
      }
      const auto begin = order.begin() + static_cast<std::ptrdiff_t>(first);
      const auto end = order.begin() + static_cast<std::ptrdiff_t>(last);
      if (last - first > 2 && !std::is_sorted(begin, end, rest_less)) {
        std::sort(begin, end, rest_less);
      }
    };
    sort_group(0, nulls);
    for (size_t first = nulls; first < rows;) {
      size_t last = first + 1;
      while (last < rows && lead_keys[last] == lead_keys[first]) {
        ++last;
      }
      sort_group(first, last);
      first = last;
    }
    return true;
  }
  // An index of one or two numeric fields whose keys take few distinct values (a tax type, an
  // operation code) is ordered in linear time: the distinct keys are sorted, and each row goes,
  // in id order, to the next place of its key. False, with `order` untouched, when the keys are
  // too many.
  template <class KeyCompare>
  bool PlaceByFewKeys(const std::vector<SortItem>& items, KeyCompare compare_keys) {
    constexpr size_t kMaxKeys = 64;
    std::vector<SortItem> distinct;
    std::vector<uint8_t> key_of(items.size());
    size_t last = 0;
    for (size_t p = 0; p < items.size(); ++p) {
      const auto same = [&](const SortItem& key) { return compare_keys(key, items[p]) == 0; };
      if (distinct.empty() || !same(distinct[last])) {
        last = static_cast<size_t>(std::find_if(distinct.begin(), distinct.end(), same) -
                                   distinct.begin());
        if (last == distinct.size()) {
          if (distinct.size() == kMaxKeys) {
            return false;
          }
          distinct.push_back(items[p]);
        }
      }
      key_of[p] = static_cast<uint8_t>(last);
    }
    std::vector<size_t> by_key(distinct.size());
    for (size_t k = 0; k < by_key.size(); ++k) {
      by_key[k] = k;
    }
    std::sort(by_key.begin(), by_key.end(),
              [&](size_t a, size_t b) { return compare_keys(distinct[a], distinct[b]) < 0; });
    std::vector<size_t> next(distinct.size(), 0);
    for (uint8_t k : key_of) {
      ++next[k];
    }
    size_t start = 0;
    for (size_t k : by_key) {
      const size_t count = next[k];
      next[k] = start;
      start += count;
    }
    for (size_t p = 0; p < items.size(); ++p) {
      order[next[key_of[p]]++] = items[p].row;
    }
    return true;
  }
  // Compares a row's leading index fields with a key (as many fields as the key has).
  int CompareKey(RowId row, const TVariantArray& key) const {
    const size_t n = std::min(key.size(), index_fields.size());
    for (size_t i = 0; i < n; ++i) {
      const int c = store->CompareToValue(row, index_fields[i], key[i]);
      if (c != 0) {
        return c;
      }
    }
    return 0;
  }
  // The first position whose key is not below `key` (or, for the upper bound, is above it).
  size_t LowerBound(const TVariantArray& key) { return Bound(key, false); }
  size_t UpperBound(const TVariantArray& key) { return Bound(key, true); }
  size_t Bound(const TVariantArray& key, bool upper) {
    const auto before = [&](RowId r) {
      const int c = CompareKey(r, key);
      return upper ? c <= 0 : c < 0;
    };
    size_t first = 0, last = order.size();
    if (!key.empty() && LeadRange(key[0], first, last)) {
      if (key.size() == 1 || index_fields.size() == 1) {
        return upper ? last : first;
      }
    }
    const auto begin = order.begin();
    const auto it = std::partition_point(begin + static_cast<std::ptrdiff_t>(first),
                                         begin + static_cast<std::ptrdiff_t>(last), before);
    return static_cast<size_t>(it - begin);
  }
  bool Visible(size_t p) const {
    const RowId row = order[p];
    return deleted[row] == 0 && (filter == nullptr || filter->Matches(row));
  }
  std::optional<size_t> NextVisible(size_t from) {
    if (equality) {
      const auto& c = Candidates();
      for (auto it = std::lower_bound(c.begin(), c.end(), std::max(from, lo));
           it != c.end() && *it < hi; ++it) {
        if (Visible(*it)) {
          return *it;
        }
      }
      return std::nullopt;
    }
    for (size_t p = from; p < hi; ++p) {
      if (Visible(p)) {
        return p;
      }
    }
    return std::nullopt;
  }
  std::optional<size_t> PriorVisible(size_t before) {
    if (equality) {
      const auto& c = Candidates();
      for (auto it = std::lower_bound(c.begin(), c.end(), before); it != c.begin();) {
        --it;
        if (*it < lo) {
          break;
        }
        if (Visible(*it)) {
          return *it;
        }
      }
      return std::nullopt;
    }
    for (size_t p = before; p > lo; --p) {
      if (Visible(p - 1)) {
        return p - 1;
      }
    }
    return std::nullopt;
  }
  void ApplyRange() {
    lo = has_range ? LowerBound(range_start) : 0;
    hi = has_range ? UpperBound(range_end) : order.size();
    if (hi < lo) {
      hi = lo;
    }
  }
  void Rebuild() {
    order.clear();
    order.reserve(deleted.size());
    for (RowId r = 0; r < deleted.size(); ++r) {
      if (deleted[r] == 0) {
        order.push_back(r);
      }
    }
    const bool lead_ready = SortOrder();
    tombstones = 0;
    pending.clear();
    order_dirty = false;
    OrderChanged();
    if (lead_ready) {
      lead_valid = lead_usable = true;
      lead_memo = false;
    }
  }
  void MergePending() {
    auto less = [this](RowId a, RowId b) { return Less(a, b); };
    // Rows appended in the index's order (a copy of a table in its own order) are sorted
    // already: one look at them instead of a sort.
    if (!std::is_sorted(pending.begin(), pending.end(), less)) {
      nrw::SortInHalves(pending.begin(), pending.end(), less);
    }
    const size_t middle = order.size();
    order.insert(order.end(), pending.begin(), pending.end());
    // Rows that all come after the ones in order (a refilled look-up, rows appended in key
    // order) need no merge, and so no merge buffer.
    if (middle > 0 && middle < order.size() && less(order[middle], order[middle - 1])) {
      std::inplace_merge(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(middle),
                         order.end(), less);
    }
    pending.clear();
    OrderChanged();
  }
  // Brings `order` up to date before a read; keeps the cursor on its row.
  // Every read syncs first, and almost always finds the order up to date: that test is all
  // that is inlined into the reads.
  void Sync() {
    if (order_dirty || !pending.empty()) {
      Resync();
    }
  }
  [[gnu::noinline]] void Resync() {
    std::optional<RowId> current = land_on;
    if (!current && has_row && !eof && pos < order.size()) {
      current = order[pos];
    }
    if (order_dirty) {
      Rebuild();
    } else {
      MergePending();
    }
    ApplyRange();
    count_cache.reset();
    land_on.reset();
    if (current) {
      const auto it = std::lower_bound(order.begin(), order.end(), *current,
                                       [this](RowId a, RowId b) { return Less(a, b); });
      pos = static_cast<size_t>(it - order.begin());
      has_row = pos < order.size() && order[pos] == *current;
      eof = !has_row;
    }
  }
  // Drops tombstones from `order`, keeping the cursor on its position among live rows.
  void Sweep() {
    size_t kept = 0;
    size_t new_pos = 0;
    for (size_t p = 0; p < order.size(); ++p) {
      if (p == pos) {
        new_pos = kept;
      }
      if (deleted[order[p]] == 0) {
        order[kept++] = order[p];
      }
    }
    if (pos >= order.size()) {
      new_pos = kept;
    }
    order.resize(kept);
    pos = new_pos;
    tombstones = 0;
    OrderChanged();
    ApplyRange();
  }
  void GoFirst() {
    Sync();
    const auto p = NextVisible(lo);
    has_row = p.has_value();
    eof = !has_row;
    pos = p.value_or(lo);
  }
};

TMemoryDataSet::TMemoryDataSet(TComponent* owner) : TDataSet(owner), impl_(new Impl) {
  impl_->store = std::make_unique<nrw::ColumnStore>(std::vector<TFieldDef>{});
}

TMemoryDataSet::TMemoryDataSet(TComponent* owner, const std::vector<TFieldDef>& fields)
    : TMemoryDataSet(owner) {
  CreateDataSet(fields);
}

TMemoryDataSet::~TMemoryDataSet() = default;
TnClientDataSetMem::~TnClientDataSetMem() = default;
TnClientDataSet::~TnClientDataSet() = default;

void TMemoryDataSet::CreateDataSet(const std::vector<TFieldDef>& fields) {
  DefineFields(fields);
  impl_ = std::make_unique<Impl>();
  impl_->store = std::make_unique<nrw::ColumnStore>(fields);
  StoreIndexFieldNames("");
  SetState(TDataSetState::Browse);
  FilterChanged();
}

// A whole record holds one value per field.
void TMemoryDataSet::CheckRecordSize(const std::vector<Variant>& values) const {
  if (static_cast<int>(values.size()) != FieldCount()) {
    throw Exception(DisplayName() + ": a record of " + std::to_string(values.size()) +
                    " values for " + std::to_string(FieldCount()) + " fields");
  }
}

void TMemoryDataSet::EmptyDataSet() {
  CheckActive();
  Impl& d = *impl_;
  d.DropRows();
  SetState(TDataSetState::Browse);
  d.ApplyRange();
  d.GoFirst();
}

void TMemoryDataSet::ReplaceRows(const std::vector<std::vector<Variant>>& rows) {
  CheckWritable();
  for (const std::vector<Variant>& values : rows) {
    CheckRecordSize(values);
  }
  Impl& d = *impl_;
  d.DropRows();
  SetState(TDataSetState::Browse);
  // The rows set so far stay when a value raises, as if each had been posted.
  const auto settle = [&d] {
    d.order_dirty = !d.index_fields.empty() && d.order.size() > 1;
    d.ApplyRange();
    d.GoFirst();
  };
  try {
    for (const std::vector<Variant>& values : rows) {
      const RowId row = d.store->AddRow();
      d.deleted.push_back(1);
      for (int f = 0; f < FieldCount(); ++f) {
        d.store->Set(row, f, values[static_cast<size_t>(f)]);
      }
      d.deleted.back() = 0;
      d.order.push_back(row);
    }
  } catch (...) {
    settle();
    throw;
  }
  settle();
}

void TMemoryDataSet::CopyFrom(const TMemoryDataSet& source) {
  CreateDataSet(source.FieldDefs());
  const Impl& s = *source.impl_;
  Impl& d = *impl_;
  // A source whose order is up to date and that holds few deleted rows is copied whole with
  // its index order: row ids stay the same, so nothing is sorted again.
  const size_t dead = static_cast<size_t>(std::count(s.deleted.begin(), s.deleted.end(), 1));
  if (!s.order_dirty && s.pending.empty() &&
      WorthSharing(s.deleted.size() - dead, s.deleted.size())) {
    *d.store = *s.store;
    d.deleted = s.deleted;
    d.order.reserve(s.order.size() - s.tombstones);
    for (RowId row : s.order) {
      if (s.deleted[row] == 0) {
        d.order.push_back(row);
      }
    }
    d.index_fields = s.index_fields;
    StoreIndexFieldNames(source.IndexFieldNames());
    d.RowsChanged();
    d.ApplyRange();
    d.GoFirst();
    return;
  }
  d.store->Reserve(s.deleted.size());
  for (RowId r = 0; r < s.deleted.size(); ++r) {
    if (s.deleted[r] != 0) {
      continue;
    }
    const RowId row = d.store->AddRow();
    for (int f = 0; f < FieldCount(); ++f) {
      d.store->CopyCell(row, f, *s.store, r);
    }
    d.deleted.push_back(0);
  }
  SetIndexFieldNames(source.IndexFieldNames());
}

void TMemoryDataSet::SortRows(const std::string& field_names) {
  CheckActive();
  Post();
  Impl& d = *impl_;
  std::vector<int> index = std::move(d.index_fields);
  d.index_fields = ResolveFieldList(field_names);
  d.order.clear();
  for (RowId row = 0; row < d.deleted.size(); ++row) {
    if (d.deleted[row] == 0) {
      d.order.push_back(row);
    }
  }
  d.SortOrder();
  *d.store = d.store->Permuted(d.order);
  const size_t rows = d.order.size();
  d.deleted.assign(rows, 0);
  for (RowId row = 0; row < rows; ++row) {
    d.order[row] = row;
  }
  d.index_fields = std::move(index);
  d.tombstones = 0;
  d.pending.clear();
  d.order_dirty = !d.index_fields.empty();
  d.RowsChanged();
  d.has_range = false;
  d.count_cache.reset();
  d.land_on.reset();
  d.has_row = false;
  d.GoFirst();
}

void TMemoryDataSet::ReserveRows(size_t rows) {
  impl_->store->Reserve(rows);
  impl_->deleted.reserve(rows);
}

void TMemoryDataSet::CheckActive() const {
  if (!Active()) {
    throw Exception(DisplayName() + ": Cannot perform this operation on a closed dataset");
  }
}

void TMemoryDataSet::CheckWritable() const {
  CheckActive();
  if (read_only_) {
    throw Exception(DisplayName() + ": Cannot modify a read-only dataset");
  }
}

void TMemoryDataSet::First() {
  CheckActive();
  impl_->GoFirst();
}

void TMemoryDataSet::Next() {
  CheckActive();
  Impl& d = *impl_;
  d.Sync();
  if (!d.has_row) {
    d.eof = true;
    return;
  }
  if (const auto p = d.NextVisible(d.pos + 1)) {
    d.pos = *p;
    d.eof = false;
  } else {
    d.eof = true;
  }
}

bool TMemoryDataSet::Eof() const {
  impl_->Sync();
  return !Active() || impl_->eof;
}

int TMemoryDataSet::RecordCount() {
  if (!Active()) {
    return 0;
  }
  Impl& d = *impl_;
  d.Sync();
  if (!d.count_cache) {
    int count = 0;
    if (d.filter == nullptr && d.tombstones == 0) {
      count = static_cast<int>(d.hi - d.lo);
    } else if (d.equality) {
      for (size_t p : d.Candidates()) {
        count += p >= d.lo && p < d.hi && d.Visible(p) ? 1 : 0;
      }
    } else {
      for (size_t p = d.lo; p < d.hi; ++p) {
        count += d.Visible(p) ? 1 : 0;
      }
    }
    d.count_cache = count;
  }
  return *d.count_cache;
}

bool TMemoryDataSet::IsEmpty() {
  if (!Active()) {
    return true;
  }
  Impl& d = *impl_;
  d.Sync();
  return d.count_cache ? *d.count_cache == 0 : !d.NextVisible(d.lo).has_value();
}

// Inlined into the reads, which call it for every value.
[[gnu::always_inline]] inline uint32_t TMemoryDataSet::CurrentRow() const {
  const Impl& d = *impl_;
  if (State() == TDataSetState::Insert) {
    return d.edit_row;
  }
  impl_->Sync();
  if (!d.has_row) {
    NoCurrentRecord();
  }
  return d.order[d.pos];
}

// Out of line, so that the reads that call CurrentRow keep no room for the message.
void TMemoryDataSet::NoCurrentRecord() const {
  throw Exception(DisplayName() + ": no current record");
}

bool TMemoryDataSet::IsNull(int field) const {
  if (State() != TDataSetState::Insert && !impl_->has_row) {
    return true;
  }
  return impl_->store->IsNull(CurrentRow(), field);
}

[[gnu::always_inline]] inline bool TMemoryDataSet::ReadRow(uint32_t& row) const {
  if (State() == TDataSetState::Insert) {
    row = impl_->edit_row;
    return true;
  }
  if (!impl_->has_row) {
    return false;
  }
  row = CurrentRow();
  return true;
}

// A null cell of the store reads as 0 or "" already, so reads need not test for null.
int64_t TMemoryDataSet::GetInteger(int field) const {
  uint32_t row = 0;
  return ReadRow(row) ? impl_->store->Integer(row, field) : 0;
}

double TMemoryDataSet::GetFloat(int field) const {
  uint32_t row = 0;
  return ReadRow(row) ? impl_->store->Float(row, field) : 0.0;
}

std::string TMemoryDataSet::GetString(int field) const {
  uint32_t row = 0;
  return ReadRow(row) ? impl_->store->String(row, field) : std::string();
}

void TMemoryDataSet::AppendString(int field, std::string& out) const {
  uint32_t row = 0;
  if (ReadRow(row)) {
    impl_->store->AppendString(row, field, out);
  }
}

Variant TMemoryDataSet::GetValue(int field) const {
  uint32_t row = 0;
  return ReadRow(row) ? impl_->store->Value(row, field) : Variant();
}

// Values are set only between Append or Edit and Post.
void TMemoryDataSet::CheckEditing() const {
  if (State() != TDataSetState::Insert && State() != TDataSetState::Edit) {
    throw Exception(DisplayName() + ": Dataset not in edit or insert mode");
  }
}

void TMemoryDataSet::SetValue(int field, const Variant& value) {
  CheckEditing();
  impl_->store->Set(CurrentRow(), field, value);
}

void TMemoryDataSet::CopyValue(int field, const TDataSet& source) {
  const auto* memory = dynamic_cast<const TMemoryDataSet*>(&source);
  uint32_t source_row = 0;
  if (memory == nullptr || !memory->ReadRow(source_row) ||
      memory->impl_->store->Defs()[field].type != impl_->store->Defs()[field].type) {
    TDataSet::CopyValue(field, source);
    return;
  }
  CheckEditing();
  impl_->store->CopyCell(CurrentRow(), field, *memory->impl_->store, source_row);
}

void TMemoryDataSet::Append() {
  CheckWritable();
  Post();
  // No Sync: rows posted under an index wait in `pending` and are merged once, at the next
  // read, so that appending n rows costs one merge instead of one per row.
  Impl& d = *impl_;
  d.edit_row = d.store->AddRow();
  d.deleted.push_back(1);
  SetState(TDataSetState::Insert);
}

void TMemoryDataSet::AppendRecord(const std::vector<Variant>& values) {
  CheckWritable();
  CheckRecordSize(values);
  Post();
  Impl& d = *impl_;  // no Sync, as in Append
  d.edit_row = d.store->AddRow(values);
  d.deleted.push_back(1);
  SetState(TDataSetState::Insert);
  Post();
}

namespace {

bool SameColumnTypes(const std::vector<TFieldDef>& a, const std::vector<TFieldDef>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const TFieldDef& x, const TFieldDef& y) { return x.type == y.type; });
}

// Rows appended from a source can share its store as a copy does, when they come in the order
// of their ids.
bool SharesRows(const std::vector<RowId>& chosen, size_t source_rows) {
  return !chosen.empty() && WorthSharing(chosen.size(), source_rows) &&
         std::is_sorted(chosen.begin(), chosen.end());
}

}  // namespace

std::vector<int64_t> TMemoryDataSet::AppendFromEach(TMemoryDataSet& source,
                                                    const std::vector<TAppendTarget>& targets) {
  // Each target's columns as pairs of positions, with the value for a null already converted,
  // and its condition compiled over the source's rows: everything that can fail fails before
  // the first row is added.
  struct Plan {
    Impl* table;
    std::vector<int> fields, source_fields;
    std::vector<Variant> if_null;
    std::unique_ptr<nrw::FilterProgram> condition;
    bool can_share = false;  // a table of the source's columns, each taken in its place
  };
  source.CheckActive();
  source.Post();
  Impl& s = *source.impl_;
  std::vector<Plan> plans;
  for (const TAppendTarget& target : targets) {
    TMemoryDataSet& table = *target.table;
    if (&table == &source) {
      throw Exception(source.DisplayName() + ": cannot append its own rows to itself");
    }
    table.CheckWritable();
    table.Post();
    Plan plan{table.impl_.get(), {}, {}, {}, nullptr};
    plan.can_share = SameColumnTypes(plan.table->store->Defs(), s.store->Defs());
    for (const TAppendColumn& column : target.columns) {
      const int field = table.FieldIndex(column.name);
      plan.fields.push_back(field);
      plan.source_fields.push_back(source.FieldIndex(column.name));
      plan.if_null.push_back(VarAsType(column.if_null, plan.table->store->Defs()[field].type));
      plan.can_share = plan.can_share && field == plan.source_fields.back();
    }
    if (!target.condition.empty()) {
      plan.condition = nrw::FilterProgram::Compile(target.condition, source.FieldDefs(), *s.store);
    }
    plans.push_back(std::move(plan));
  }

  // The rows the source shows, in its order; then each target is filled from them, each on a
  // thread of its own when the targets are distinct tables: the source is only read, and
  // each condition is evaluated by its own program.
  s.Sync();
  std::vector<RowId> rows;
  for (auto p = s.NextVisible(s.lo); p; p = s.NextVisible(*p + 1)) {
    rows.push_back(s.order[*p]);
  }
  std::vector<int64_t> appended(plans.size(), 0);
  // Most of the source's rows, in the order of their ids, are taken as the source stores them:
  // the table shares the source's columns (until one side writes) and hides the other rows.
  // Row ids keep the order that copied rows would have, so every later sort and tie is the same.
  auto share = [&](const Plan& plan, std::vector<RowId>& chosen) {
    Impl& d = *plan.table;
    d.store->ShareRows(*s.store, plan.fields);
    d.deleted.assign(s.store->RowCount(), 1);
    for (const RowId row : chosen) {
      d.deleted[row] = 0;
      for (size_t c = 0; c < plan.fields.size(); ++c) {
        if (s.store->IsNull(row, plan.fields[c])) {
          d.store->Set(row, plan.fields[c], plan.if_null[c]);
        }
      }
    }
    (d.index_fields.empty() ? d.order : d.pending) = std::move(chosen);
  };
  auto copy = [&](const Plan& plan, const std::vector<RowId>& chosen) {
    Impl& d = *plan.table;
    for (const RowId from : chosen) {
      const RowId row = d.store->AddRow();
      for (size_t c = 0; c < plan.fields.size(); ++c) {
        const int field = plan.fields[c], source_field = plan.source_fields[c];
        if (s.store->IsNull(from, source_field)) {
          d.store->Set(row, field, plan.if_null[c]);
        } else if (s.store->Defs()[source_field].type == d.store->Defs()[field].type) {
          d.store->CopyCell(row, field, *s.store, from, source_field);
        } else {
          d.store->Set(row, field, s.store->Value(from, source_field));
        }
      }
      d.deleted.push_back(0);
      // As Post files a row: at the end of a table without an index, else to be merged in.
      (d.index_fields.empty() ? d.order : d.pending).push_back(row);
    }
  };
  auto fill = [&](size_t t) {
    const Plan& plan = plans[t];
    std::vector<RowId> chosen;
    chosen.reserve(rows.size());
    for (const RowId from : rows) {
      if (plan.condition == nullptr || plan.condition->Matches(from)) {
        chosen.push_back(from);
      }
    }
    appended[t] = static_cast<int64_t>(chosen.size());
    // A table given twice is empty only for the first of its appends.
    if (plan.can_share && plan.table->store->RowCount() == 0 &&
        SharesRows(chosen, s.store->RowCount())) {
      share(plan, chosen);
    } else {
      copy(plan, chosen);
    }
    // The target's order is made here, beside the other targets', not at its first read.
    Impl& d = *plan.table;
    if (!d.pending.empty() && !d.order_dirty) {
      d.MergePending();
    }
  };
  std::set<const Impl*> distinct;
  for (const Plan& plan : plans) {
    distinct.insert(plan.table);
  }
  const bool together =
      plans.size() > 1 && distinct.size() == plans.size() && rows.size() >= kRowsForAThread;
  const auto errors = nrw::RunEach(plans.size(), together, fill);
  for (const TAppendTarget& target : targets) {
    Impl& d = *target.table->impl_;
    d.RowsChanged();
    d.count_cache.reset();
    d.ApplyRange();
    target.table->First();
  }
  nrw::RethrowFirst(errors);
  return appended;
}

void TMemoryDataSet::Edit() {
  CheckWritable();
  if (State() != TDataSetState::Browse) {
    return;
  }
  Impl& d = *impl_;
  const RowId row = CurrentRow();
  d.saved.clear();
  for (int f = 0; f < FieldCount(); ++f) {
    d.saved.push_back(d.store->Value(row, f));
  }
  d.edit_row = row;
  SetState(TDataSetState::Edit);
}

void TMemoryDataSet::Post() {
  Impl& d = *impl_;
  if (State() == TDataSetState::Insert || State() == TDataSetState::Edit) {
    d.RowsChanged();
  }
  if (State() == TDataSetState::Insert) {
    d.deleted[d.edit_row] = 0;
    d.count_cache.reset();
    if (d.index_fields.empty()) {
      d.order.push_back(d.edit_row);
      d.OrderChanged();
      d.pos = d.order.size() - 1;
      d.has_row = true;
      d.eof = false;
      d.ApplyRange();
    } else {
      d.pending.push_back(d.edit_row);
      d.land_on = d.edit_row;
    }
  } else if (State() == TDataSetState::Edit) {
    for (int f : d.index_fields) {
      if (!(d.store->Value(d.edit_row, f) == d.saved[f])) {
        d.order_dirty = true;
        d.land_on = d.edit_row;
      }
    }
    d.count_cache.reset();
  } else {
    return;
  }
  SetState(TDataSetState::Browse);
}

void TMemoryDataSet::Cancel() {
  Impl& d = *impl_;
  if (State() == TDataSetState::Edit) {
    for (int f = 0; f < FieldCount(); ++f) {
      d.store->Set(d.edit_row, f, d.saved[f]);
    }
  }
  if (State() != TDataSetState::Inactive) {
    SetState(TDataSetState::Browse);
  }
}

void TMemoryDataSet::Delete() {
  CheckWritable();
  Cancel();
  Impl& d = *impl_;
  const RowId row = CurrentRow();
  d.deleted[row] = 1;
  ++d.tombstones;
  if (d.count_cache) {
    --*d.count_cache;
  }
  if (d.tombstones > kSweepFloor && d.tombstones * 2 > d.order.size()) {
    d.Sweep();
  }
  if (const auto p = d.NextVisible(d.pos)) {
    d.pos = *p;
    d.eof = false;
  } else if (const auto q = d.PriorVisible(std::min(d.pos, d.hi))) {
    d.pos = *q;
    d.eof = true;
  } else {
    d.has_row = false;
    d.eof = true;
  }
}

void TMemoryDataSet::SetIndexFieldNames(std::string_view names) {
  CheckActive();
  Post();
  Impl& d = *impl_;
  if (!names.empty() && names == IndexFieldNames()) {
    // The list it already has (resolved against these fields when it was set).
    d.has_range = false;
    d.count_cache.reset();
    d.ApplyRange();
    d.GoFirst();
    return;
  }
  std::vector<int> fields = ResolveFieldList(names);
  StoreIndexFieldNames(names);
  d.has_range = false;
  if (fields == d.index_fields) {
    // The same order: nothing to sort again (callers often set the index they already have).
    d.count_cache.reset();
    d.ApplyRange();
    d.GoFirst();
    return;
  }
  d.index_fields = std::move(fields);
  d.order_dirty = true;
  d.land_on.reset();
  d.has_row = false;
  d.GoFirst();
}

bool TMemoryDataSet::FindKey(const TVariantArray& values) {
  CheckActive();
  Post();
  Impl& d = *impl_;
  if (d.index_fields.empty()) {
    throw Exception(DisplayName() + ": FindKey needs an index field list");
  }
  d.Sync();
  size_t p = std::max(d.LowerBound(values), d.lo);
  for (; p < d.hi && d.CompareKey(d.order[p], values) == 0; ++p) {
    if (d.Visible(p)) {
      d.pos = p;
      d.has_row = true;
      d.eof = false;
      return true;
    }
  }
  return false;
}

void TMemoryDataSet::SetRange(const TVariantArray& start, const TVariantArray& end) {
  CheckActive();
  Post();
  Impl& d = *impl_;
  if (d.index_fields.empty()) {
    throw Exception(DisplayName() + ": SetRange needs an index field list");
  }
  d.Sync();
  d.has_range = true;
  d.range_start = start;
  d.range_end = end;
  d.ApplyRange();
  d.count_cache.reset();
  d.GoFirst();
}

void TMemoryDataSet::CancelRange() {
  CheckActive();
  Impl& d = *impl_;
  d.has_range = false;
  d.ApplyRange();
  d.count_cache.reset();
  d.GoFirst();
}

void TMemoryDataSet::FilterChanged() {
  Impl& d = *impl_;
  d.filter.reset();
  d.equality.reset();
  if (Filtered() && !Filter().empty()) {
    d.filter = nrw::FilterProgram::Compile(Filter(), FieldDefs(), *d.store);
    d.equality = d.filter->RequiredEquality();
  }
  d.candidates_valid = false;
  d.count_cache.reset();
  if (Active()) {
    d.GoFirst();
  }
}
