// SqliteReadAhead: the rows of one query, read and converted on a thread of its own, on a
// read-only connection of its own to the same file, while the caller works on the rows before
// them. A table's cursor walking in index order hands its stream over to it, so that SQLite's
// steps and the rows' conversion run on the other core.
//
// The file must not change while the rows are read: whoever writes to it stops the reading
// first (the connection that holds the file stops its cursors' readings before each write).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/variant.hpp"
#include "runtime/sqlite_connection.hpp"
#include "runtime/sqlite_order.hpp"

namespace nrw {

class NRW_API SqliteReadAhead {
 public:
  // What a row is read with. The query's first column is the row id, and column i + 1 is
  // field i.
  struct Shape {
    std::vector<TFieldDef> fields;
    std::vector<char> wanted;  // the fields converted; the others are left as they were
    std::vector<int> index;    // the index fields, also held as SQLite orders them
    // The query reads in row id order, which holds the first index field: each run of one
    // value of it is sorted into index order (SqliteGroupedRows).
    bool grouped = false;
  };
  struct Row {
    int64_t rowid = 0;
    std::vector<Variant> values;  // by field
    // Index field k's value as SQLite orders it (`index`: the shape's index fields). A value
    // read as SQLite stored it orders from its field's place in `values`; another is held in
    // key[k], and bit k of `held` is set (always from the 64th on).
    OrderedValue Key(size_t k, const std::vector<int>& index) const {
      if (InValues(k)) {
        return KeyValue(values[static_cast<size_t>(index[k])]);
      }
      return key[k].View();
    }
    // The order of index field k's value against `value`, a key value as it is bound.
    std::optional<int> CompareKey(size_t k, const std::vector<int>& index,
                                  const Variant& value) const {
      if (InValues(k)) {
        return CompareKeyValues(values[static_cast<size_t>(index[k])], value);
      }
      return CompareValues(key[k].View(), KeyValue(value));
    }
    // The order of index field k's value against the same field's of `other`.
    std::optional<int> CompareKey(size_t k, const std::vector<int>& index, const Row& other) const {
      if (InValues(k) && other.InValues(k)) {
        const auto field = static_cast<size_t>(index[k]);
        return CompareKeyValues(values[field], other.values[field]);
      }
      return CompareValues(Key(k, index), other.Key(k, index));
    }
    // Whether index field k orders from its place in `values`.
    bool InValues(size_t k) const { return k < 64 && (held >> k & 1) == 0; }
    uint64_t held = 0;
    std::vector<HeldValue> key;
  };

  explicit SqliteReadAhead(std::string path);
  ~SqliteReadAhead();
  SqliteReadAhead(const SqliteReadAhead&) = delete;
  SqliteReadAhead& operator=(const SqliteReadAhead&) = delete;

  // Begins reading the rows of `sql` with `params` bound (a reading under way is stopped).
  void Start(const std::string& sql, const TVariantArray& params, Shape shape);
  // The next row, or null after the last. It stands until the next call or Stop, and the
  // last row given stands also after a null or a failure. Raises what the reading raised (the
  // query's error, or the file that cannot be opened), once every row before it was given.
  const Row* Next();
  // Stops the reading; the rows not taken are dropped.
  void Stop();
  bool Reading() const;
  // The shape of the reading under way.
  const Shape& RowShape() const;

  // Reads the row `st` stands on into `row`, as the reading does.
  static void ReadRow(sqlite3_stmt* st, const Shape& shape, SqliteColumnReader& reader, Row& row);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace nrw
