// The fixed vocabulary of the demo data: names to combine, the municipalities and CFOPs it uses
// (all present in the shipped reference subset), and the registration number helpers.
#pragma once

#include <string>
#include <vector>

#include "schema/random.hpp"

namespace nrw::schema {

struct DemoCity {
  int code;
  const char* uf;
};

const std::vector<DemoCity>& DemoCities();
// A municipality code that no reference table holds (counterparties "not in the table").
constexpr int kUnknownCityCode = 9999901;

std::string CompanyName(int company);
std::string EstablishmentName(int estab);
std::string PersonName(Random& random, bool rural);
std::string ProductName(Random& random);
std::string Observation(Random& random);

// CNPJ (14 digits, check digits computed) from an 8-digit root and a branch number.
std::string Cnpj(int64_t root, int branch);
// CPF (11 digits, check digits computed) from a 9-digit number.
std::string Cpf(int64_t number);
std::string Digits(Random& random, int count);
// An NCM code in the '9999.99.99' form.
std::string Ncm(Random& random);

}  // namespace nrw::schema
