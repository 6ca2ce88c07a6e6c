// Imports EFD ICMS/IPI files into the company database: the establishment's documents of the
// month with their tax lines and items, its counterparties and products.
//
// Mapping (one file = one establishment and month):
//   - 0000: the company is found by the CNPJ root (first 8 digits) of EMPRESA.INSCRFEDERAL,
//     the establishment by its full CNPJ; either is created with the next code when new.
//   - 0150: a counterparty is found by its CNPJ or CPF (by name when it has neither), so its
//     code stays the same across imports; new ones take the next code.
//   - 0200: a product's code is its COD_ITEM when that is a number below 2^31, else a stable
//     31-bit hash of the text (the description comes from the file).
//   - C100: an entry (IND_OPER 0) or exit (1), keyed from the sequence the two share; the
//     entry date is DT_E_S (DT_DOC when empty), the issue date DT_DOC; the species comes from
//     the model (01, 1B, 04: NF; 55: NFE; 65: NFCE); COD_MOD goes to CODIGOTIPODCTOSINTEGRA.
//   - C190: an ICMS line (type 1) per CFOP and rate: accounting value VL_OPR, base VL_BC_ICMS,
//     tax VL_ICMS; exempt = VL_OPR - VL_BC_ICMS for CST x30, x40 and x41, else VL_RED_BC;
//     others = VL_OPR - VL_BC_ICMS - exempt. A tax substitution line (type 13) from
//     VL_BC_ICMS_ST/VL_ICMS_ST and an IPI line (type 10) from VL_IPI when they are not zero.
//   - C170: product items with their PIS and COFINS bases, rates and amounts.
//   - Cancelled, denied and voided documents (COD_SIT 02, 03, 04, 05) become documents with
//     one zero ICMS line (CFOP 0) and an observation that says what they are.
// Each file is one transaction: a malformed file leaves nothing. Importing a file again
// replaces that establishment's documents of the file's period (widened to the dates of the
// documents it holds).
#pragma once

#include <cstdint>
#include <string>

#include "host/sql.hpp"

namespace nrw::efd {

struct ImportResult {
  int32_t company = 0;
  int32_t establishment = 0;
  int64_t documents = 0;
  int64_t cancelled = 0;  // of the documents
  int64_t tax_lines = 0;
  int64_t items = 0;
  int64_t replaced = 0;  // documents of an earlier import removed
};

// Creates the tables, indexes and reference data when the database has no EMPRESA table.
void EnsureCompanySchema(TSQLConnection& db, const std::string& reference_dir);

// Imports one file; raises EfdError (malformed file) or Exception (database) with nothing kept.
ImportResult ImportEfdFile(TSQLConnection& db, const std::string& path);

}  // namespace nrw::efd
