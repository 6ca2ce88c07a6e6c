// TnFisDPListarLctoFisTotal: the host's fiscal data provider. For the current company and
// establishment and its parameters, one execution reads the fiscal books and rebuilds:
//   - the tax lines (Imposto), one row per tax line that passes the filters, with the key as
//     CHAVELCTOFIS (plus NumeroNF when "pCampoAdicional" is "1", NomePessoa when "2");
//   - the documents those lines belong to (DocFiscal), keyed by CHAVELCTOFIS;
//   - the PIS/COFINS item rows of those documents (PisCofins), when "pListarPISCOFINS" is "1";
//   - the named in-memory tables "cdsPessoa" (their counterparties), "cdsCFOP" (every CFOP with
//     its description) and "cdsTotal" (the tax lines summed per CFOP and tax type when
//     "pTipoTotal" is 4, per day and tax type when 7; empty otherwise), reached with
//     FindComponent.
// A fixed number of queries runs per execution (five), whatever the size of the month.
//
// Storage: with UsarSQLite the three result tables are tables of a temporary SQLite file in the
// system temporary folder, named "nrw-temp-<process>-<n>.db" (the report's working copies
// replace "temp" in that name and land beside it); otherwise they are in-memory tables. Both
// give the same rows in the same order. The file and its working copies are removed when the
// provider is freed.
#pragma once

#include <memory>
#include <string>

#include "host/data_module.hpp"
#include "host/data_set.hpp"
#include "host/export.hpp"
#include "host/sql.hpp"

// The host setting that new providers take their storage mode from (the host program's
// --storage option).
NRW_API void SetUsarSQLitePadrao(bool use_sqlite);
NRW_API bool UsarSQLitePadrao();

class NRW_API TnFisDPListarLctoFisTotal : public TnDMPowerParam {
 public:
  static constexpr const char* kClassName = "TnFisDPListarLctoFisTotal";

  explicit TnFisDPListarLctoFisTotal(TComponent* owner = nullptr);
  ~TnFisDPListarLctoFisTotal() override;

  bool UsarSQLite() const;
  // Chooses the storage mode; only before the first execution.
  void SetUsarSQLite(bool use_sqlite);
  // The connection to read from; null (the default) for the host's.
  void SetConexao(TSQLConnection* connection);

  void Executar() override;

  TDataSet* Imposto() const;
  TDataSet* DocFiscal() const;
  TDataSet* PisCofins() const;
  // The tax lines' temporary database file in SQLite mode ("" before the first execution or in
  // memory); each result table has a file of its own, its connection's "Database".
  std::string ArquivoTemporario() const;

  // Sets the index (sort order) of one of the result tables, in either storage mode.
  void AtualizarIndice(TDataSet* data_set, const std::string& field_names);

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// Renders a CFOP code for printing: a four-digit code as "5.102"; other texts as they are.
NRW_API std::string FormatarCFOP(const std::string& code);
