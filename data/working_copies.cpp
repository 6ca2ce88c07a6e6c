// Storage-neutral operations on the provider's tables, and the operation control that removes
// doubled tax-substitution lines. In SQLite storage an independent working copy is a copy of the
// provider's database file, named with every "temp" replaced by "temp_" + a suffix.
#include <memory>
#include <vector>

#include "host/fiscal_provider.hpp"
#include "host/sql.hpp"
#include "host/sqlite_table.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

// The fiscal operation whose substitution lines are kept, and the one whose equal lines are the
// same retention keyed in twice.
constexpr int32_t kOperacaoRetida = 11403;
constexpr int32_t kOperacaoEmDobro = 11407;

// Replaces every occurrence (case-sensitive).
std::string SubstituirTodos(std::string text, const std::string& de, const std::string& para) {
  for (size_t pos = text.find(de); pos != std::string::npos;
       pos = text.find(de, pos + para.size())) {
    text.replace(pos, de.size(), para);
  }
  return text;
}

}  // namespace

TDataSet* TnFisORResumoConfLctoFis::ClonarDataSet(TDataSet* ADataSet, const std::string& ASufixo) {
  if (!UsarSQLite()) {
    return Nutildb::CloneCDS(Nutildb::CDSM(ADataSet));
  }
  TnFDTableSQLite* origem = Nutildb::FDTSQLite(ADataSet);
  const std::string arquivo = origem->Connection()->Params().Database();
  const std::string copia = SubstituirTodos(arquivo, "temp", "temp_" + ASufixo);
  // The file is named again from the source's connection, which commits what it still holds.
  Nutilarquivo::CopyFile(origem->Connection()->Params().Database(), copia, true);
  auto tabela = std::make_unique<TnFDTableSQLite>(nullptr);
  tabela->Close();
  tabela->Connection()->Close();
  tabela->Connection()->Params().SetDatabase(copia);
  tabela->SetTableName(origem->TableName());
  tabela->SetIndexFieldNames(origem->IndexFieldNames());
  tabela->Connection()->Open();
  tabela->Open();
  return tabela.release();
}

// Makes the tables' orders now rather than at their first search. In SQLite storage, working
// copies (each with a file and a connection of its own) make theirs at the same time; in memory
// an order is made as it is set.
void TnFisORResumoConfLctoFis::CriarIndices(std::initializer_list<TDataSet*> ATabelas) {
  if (!UsarSQLite()) {
    return;
  }
  std::vector<TnFDTableSQLite*> tabelas;
  for (TDataSet* tabela : ATabelas) {
    tabelas.push_back(Nutildb::FDTSQLite(tabela));
  }
  TnFDTableSQLite::MakeIndexes(tabelas);
}

bool TnFisORResumoConfLctoFis::LocalizarChave(TDataSet* ADataSet,
                                              std::initializer_list<Variant> AValores) {
  chave_.assign(AValores);
  if (UsarSQLite()) {
    return Nutildb::FDTSQLite(ADataSet)->FindKey(chave_);
  }
  return Nutildb::CDSM(ADataSet)->FindKey(chave_);
}

bool TnFisORResumoConfLctoFis::BuscarChave(TDataSet* ADataSet,
                                           std::initializer_list<Variant> AValores) {
  chave_.assign(AValores);
  return ADataSet->FindKey(chave_);
}

void TnFisORResumoConfLctoFis::DefinirFaixa(TDataSet* ADataSet,
                                            std::initializer_list<Variant> AInicio,
                                            std::initializer_list<Variant> AFim) {
  inicio_.assign(AInicio);
  fim_.assign(AFim);
  if (UsarSQLite()) {
    Nutildb::FDTSQLite(ADataSet)->SetRange(inicio_, fim_);
  } else {
    Nutildb::CDSM(ADataSet)->SetRange(inicio_, fim_);
  }
}

void TnFisORResumoConfLctoFis::CancelarFaixa(TDataSet* ADataSet) {
  if (UsarSQLite()) {
    Nutildb::FDTSQLite(ADataSet)->CancelRange();
  } else {
    Nutildb::CDSM(ADataSet)->CancelRange();
  }
}

void TnFisORResumoConfLctoFis::ControleOpFis(TDataSet*& _ACdsImposto) {
  TDataSet* cdsImp = ClonarDataSet(_ACdsImposto, "imp");
  const int32_t ixChave = cdsImp->FieldIndex("ChaveLctoFis");
  const int32_t ixCFOP = cdsImp->FieldIndex("CodigoCFOP");
  const int32_t ixValor = cdsImp->FieldIndex("ValorImposto");
  Provedor()->AtualizarIndice(cdsImp, "TIPOIMPOSTO;CODIGOOPERACAOFIS");
  DefinirFaixa(cdsImp, {kTipoSubstTrib, kOperacaoRetida}, {kTipoSubstTrib, kOperacaoRetida});
  if (cdsImp->IsEmpty()) {
    Nutildb::DestruirSQL(cdsImp);
    return;
  }
  cdsImp->First();
  const std::string indice = _ACdsImposto->IndexFieldNames();
  Provedor()->AtualizarIndice(_ACdsImposto,
                              "CHAVELCTOFIS;CODIGOCFOP;TIPOIMPOSTO;VALORIMPOSTO;CODIGOOPERACAOFIS");
  // The copy's order (its first row is read only now) and the search order, made together.
  CriarIndices({cdsImp, _ACdsImposto});
  for (; !cdsImp->Eof(); cdsImp->Next()) {
    // Only the first matching row goes, and only when the amounts are exactly equal.
    if (LocalizarChave(_ACdsImposto,
                       {cdsImp->GetFloat(ixChave), static_cast<int32_t>(cdsImp->GetInteger(ixCFOP)),
                        kTipoSubstTrib, cdsImp->GetFloat(ixValor), kOperacaoEmDobro})) {
      _ACdsImposto->Delete();
    }
  }
  Nutildb::DestruirSQL(cdsImp);
  Provedor()->AtualizarIndice(_ACdsImposto, indice);
}

}  // namespace nfis
