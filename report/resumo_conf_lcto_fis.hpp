// TnFisORResumoConfLctoFis: the fiscal-entries verification summary report. One instance serves
// one print request: it holds the converted report parameters, the company and establishment
// being printed, the data provider and its tables, the working tables and lookup cursors, and
// the column positions cached for the loops that read them.
//
// The class declares no constructor or destructor of its own: the base's virtual Create builds
// it with every field zero, null, false or empty, and the run releases what it owns.
//
// The report's routines live in several files of the module (report/, data/, output/) but are
// one body of code over one state, so the fields are open to all of them (and to the tests).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "host/base_dll.hpp"
#include "host/data_set.hpp"
#include "host/memory_data_set.hpp"
#include "host/sysutils.hpp"
#include "output/rec_total.hpp"

class TnCabecalhoRelatorio;
class TnDMPowerParam;
class TnFisDPListarLctoFisTotal;
namespace Nutildb {
class TBackgroundQuery;
}

namespace nfis {

class TnFisORResumoConfLctoFis : public TnrwBaseDll {
 public:
  ~TnFisORResumoConfLctoFis() override;  // where the background query's type is complete
  // The class reference stored in FClassDll.
  static const TnrwBaseDllClass* ClassType();
  // The sections and fields the report prints through (output/layout_contract.cpp).
  static const TLayoutContract& ContratoLayout();

  std::string Versao() override;
  std::vector<int32_t> CriarListaSectionsParaZebrar() override;
  std::vector<int32_t> CriarListaSectionsTrocaCor() override;
  void ImprimirInterno() override;

  // Parameters (report/parametros.cpp).
  void IniciarParametros();
  int32_t VerificarOpcao(int32_t _AOpcao);
  std::string VerificarImposto(int32_t _ATipoImposto);

  // The PIS/COFINS working tables (data/pis_cofins.cpp).
  void AdicionarPISCOFINS();
  // Storage-neutral table operations and the operation control (data/working_copies.cpp).
  TDataSet* ClonarDataSet(TDataSet* ADataSet, const std::string& ASufixo);
  void CriarIndices(std::initializer_list<TDataSet*> ATabelas);
  // Key searches and ranges take their values as a list, copied into vectors kept for the next
  // call: once the vectors have grown, a search per line allocates nothing.
  bool LocalizarChave(TDataSet* ADataSet, std::initializer_list<Variant> AValores);
  void DefinirFaixa(TDataSet* ADataSet, std::initializer_list<Variant> AInicio,
                    std::initializer_list<Variant> AFim);
  // FindKey on a data set of any kind (a look-up cursor, the provider's tables).
  bool BuscarChave(TDataSet* ADataSet, std::initializer_list<Variant> AValores);
  void CancelarFaixa(TDataSet* ADataSet);
  void ControleOpFis(TDataSet*& _ACdsImposto);
  // Lookup cursors and product and freight totals (data/lookup_cursors.cpp, totals_loaders.cpp).
  void CarregarCurProduto();
  void CarregarCurOperacaoFis();
  void CarregarTotalProduto();
  // CarregarTotalProduto in two steps: the query begins on a connection of its own, and the
  // work done before its cursor is taken runs beside it.
  std::unique_ptr<Nutildb::TBackgroundQuery> IniciarTotalProduto();
  void ConcluirTotalProduto(Nutildb::TBackgroundQuery& AConsulta);
  void CarregarLctoProduto();
  void CarregarTotalFrete();

  // Layout contract (output/layout_contract.cpp).
  void DoAfterSection(TObject* Sender, int32_t Section);
  void LinhaEmBranco();
  // Totals (output/totais.cpp).
  void IniciarTotal(TRecTotal& _ATotal);
  void CalcularTotal(TRecTotal& _ATotalResultado, const TRecTotal& _ATotal);
  void ImprimirTotal(const std::string& _ADescricao, int32_t _ATipoImposto,
                     const TRecTotal& _ATotal, bool _ASomenteValorImposto);
  std::string FormatValor(double _AValor);
  // The pattern FormatValor formats an amount with.
  static const char* PadraoValor(double _AValor);

  // The listing and the summary (output/).
  void ImprimirConferencia();
  void ImprimirTotalizacao();

  // Steps of the run (data/run_driver.cpp).
  void PassarParametrosProvedor();
  void ImprimirEstabelecimento(int32_t empresa, int32_t estab);
  void VincularTabelas();
  void FinalizarExecucao() noexcept;

  // The data provider as its own class (ADM holds it through its parameter base).
  TnFisDPListarLctoFisTotal* Provedor() const;
  bool UsarSQLite() const;

  // Fields, in declaration order.
  TnCabecalhoRelatorio* FCabecalho = nullptr;
  TDateTime FHoraInicial = 0;
  TDateTime FHoraFinal = 0;
  TDateTime FDataInicial = 0;
  TDateTime FDataFinal = 0;
  int32_t FTipoPeriodo = 0;
  int32_t FOrdenacao = 0;
  int32_t FModeloImpressao = 0;
  int32_t FTipoMovimento = 0;
  int32_t FTipoCabecalho = 0;
  int32_t FOldCodigoEmpresa = 0;
  int32_t FCodigoEmpresa = 0;
  int32_t FCodigoEstab = 0;
  int32_t ixTFR_QtdeNotas = 0;
  int32_t ixTFR_ValorTotal = 0;
  int32_t ixTPR_QtdeTotal = 0;
  int32_t ixTPR_ValorTotal = 0;
  int32_t ixOPE_DescrOperacaoFis = 0;
  int32_t ixLCP_ChaveLctoFis = 0;
  int32_t ixLCP_CodigoProduto = 0;
  int32_t ixLCP_Seq = 0;
  int32_t ixLCP_Quantidade = 0;
  int32_t ixLCP_ValorUnitario = 0;
  int32_t ixLCP_ValorTotal = 0;
  int32_t ixPRO_DescrProduto = 0;
  int32_t ixPRO_CodigoNCM = 0;
  int32_t FixPC_Origem = 0;
  int32_t FixPC_ChaveLctoFis = 0;
  int32_t FixPC_CodigoProduto = 0;
  int32_t FixPC_CodigoCFOP = 0;
  int32_t FixPC_ValorContabil = 0;
  int32_t FixPC_ValorPIS = 0;
  int32_t FixPC_AliqPIS = 0;
  int32_t FixPC_BasePisCofins = 0;
  int32_t FixPC_ValorCOFINS = 0;
  int32_t FixPC_AliqCOFINS = 0;
  TnClientDataSet* curProduto = nullptr;
  TnClientDataSet* curOperacaoFis = nullptr;
  TnClientDataSet* curTotalProduto = nullptr;
  // The product totals' query of the establishment being printed, begun once its fiscal data
  // are read and taken by the listing's preparation (empty when it was not begun).
  std::unique_ptr<Nutildb::TBackgroundQuery> FTotalProdutoEmCurso;
  TnClientDataSet* curTotalFrete = nullptr;
  TnClientDataSet* curMunicipio = nullptr;
  TnClientDataSet* curLctoProduto = nullptr;
  TDataSet* cdsImposto = nullptr;    // the provider's, not owned
  TDataSet* cdsDocFiscal = nullptr;  // the provider's, not owned
  TDataSet* cdsPisCofins = nullptr;  // the provider's, not owned
  TDataSet* cdsPis = nullptr;
  TDataSet* cdsCofins = nullptr;
  TnClientDataSetMem* cdsNatureza = nullptr;  // the provider's, not owned
  TnClientDataSetMem* cdsPessoa = nullptr;    // the provider's, not owned
  TnClientDataSetMem* cdsTotal = nullptr;     // the provider's, not owned
  bool FArquivoMagOrdemProd = false;  // filled but read nowhere: the provider gets the number
  bool FExibirDadosProduto = false;
  bool FLinhaHorizontal = false;
  bool FExibirDadosPessoa = false;
  bool FExibirDadosNatureza = false;
  bool FListarTotalImposto = false;
  bool FListarResumoCFOP = false;
  bool FListarResumoDia = false;
  bool FListarOutrasInfo = false;
  double FChaveInicial = 0;
  double FChaveFinal = 0;
  std::string FEspecie;
  TnDMPowerParam* ADM = nullptr;  // the data provider, owned by the run

 private:
  TVariantArray chave_, inicio_, fim_;  // the last search's and range's values, reused
};

}  // namespace nfis
