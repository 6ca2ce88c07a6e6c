// One demo document: its header row, tax lines, product items (with PIS and COFINS) and freight
// documents, consistent with each other (the lines of a document add up to its value).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/sysutils.hpp"
#include "schema/demo_rows.hpp"
#include "schema/random.hpp"

namespace nrw::schema {

struct DemoEstab {
  int company;
  int estab;
  std::string uf;
};

struct DemoPerson {
  int code;
  std::string uf;
  bool rural;
};

class DemoDocuments {
 public:
  DemoDocuments(Random& random, DemoRows& rows, const std::vector<DemoPerson>& people,
                int64_t products_per_company)
      : random_(random), rows_(rows), people_(people), products_(products_per_company) {}

  void Add(const DemoEstab& estab, int64_t key, TDateTime day);

 private:
  // A group of items of one CFOP and ICMS rate.
  struct Group {
    int cfop = 0;
    int64_t cents = 0;
  };
  struct Doc {
    const DemoEstab* estab = nullptr;
    const DemoPerson* person = nullptr;
    int64_t key = 0;
    bool exit = false;
    bool interstate = false;
    TDateTime day = 0;
    std::string species;
    int64_t cents = 0;
    std::vector<Group> groups;
    int seq = 0;  // last tax line sequence
  };

  const DemoPerson& PickPerson(bool exit);
  std::string PickSpecies(bool exit);
  void AddHeader(const Doc& doc);
  void AddGoodsLines(Doc& doc);
  void AddIcms(Doc& doc, const Group& group);
  void AddIpi(Doc& doc, const Group& group);
  void AddSubstitution(Doc& doc, const Group& group);
  void AddComplementary(Doc& doc);
  void AddServiceOrTransport(Doc& doc);
  void AddItems(const Doc& doc);
  void AddItem(const Doc& doc, int seq, int cfop, int64_t cents, bool adjustment);
  void AddFreight(const Doc& doc);
  void AddTaxLine(Doc& doc, int type, int cfop, double rate, int64_t contabil, int64_t base,
                  int64_t tax, int64_t exempt, int64_t other, int64_t exclusion,
                  std::optional<int> operation);
  int GoodsCfop(const Doc& doc);
  std::string Table(const Doc& doc, const char* suffix) const;

  Random& random_;
  DemoRows& rows_;
  const std::vector<DemoPerson>& people_;
  int64_t products_;
  int64_t next_number_[2] = {1000, 5000};  // document numbers of entries and exits
};

}  // namespace nrw::schema
