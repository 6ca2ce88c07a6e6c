// The verification listing: one object per call of ImprimirConferencia. Its members are the
// listing's state (current key and type, line record, subtotals and run totals, per-operation
// totals, nature and other-information lists, counterparty and observation texts); its member
// operations print the document tax lines, the subtotals, the PIS/COFINS lines and the blocks
// under each document.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "host/report.hpp"
#include "output/lista_textos.hpp"
#include "output/rec_total.hpp"
#include "output/texto_de_real.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {

class TListagemConferencia {
 public:
  explicit TListagemConferencia(TnFisORResumoConfLctoFis& relatorio);
  void Executar();

 private:
  // The four tax types with document lines, their subtotals and run totals.
  enum Grupo { kICMS, kISS, kIPI, kFunRural, kGrupos };
  static int GrupoDe(int32_t tipo);  // -1 for other types

  // The listing (listagem_conferencia.cpp).
  bool Preparar();
  void ResolverPosicoes();
  void IniciarEstado();
  void TratarTurno();
  void ImprimirLinhasOperacao();
  void ImprimirBlocosDocumento();
  void ImprimirNaturezas();
  void ImprimirTextos();
  void ImprimirProdutos();
  void ImprimirProduto();
  void ImprimirOutrasInfo();
  void AdicionarTotalOutrasInfo(TnClientDataSet* totais, const char* texto, int32_t quantidade,
                                int32_t valor);
  void ImprimirLinhaOutrasInfo(const std::string& linha, bool direita, bool imprimir);
  void ImprimirSeparador();
  void LiberarTabelas();
  void ImprimirTotaisTipo();

  // Subtotals and operation totals (listagem_totais.cpp).
  void ImprimirTotalTipo(int32_t ATipo);
  void ImprimirLinhaTotal(TRecTotal ATotal);
  int32_t IndiceTotalOperacao(int32_t ACodigo);

  // Document tax lines (listagem_documento.cpp).
  void ImprimirLinhaImposto();
  void PreencherDadosDocumento(TDataSet* ADataSet);
  void LimparDadosDocumento();
  void LocalizarMunicipio();

  // PIS and COFINS lines (listagem_pis_cofins.cpp).
  void ImprimirPisCofinsDocumento(TDataSet* ATabela, int32_t ATipo);
  const std::string& TextoProgresso(int64_t registros);

  // The page-end fallback for layouts without the marker section 15.
  void FimDePaginaSemMarcador();
  void Campo(const char* nome, std::string_view valor) { r_.RepParam(nome, valor); }
  void Campo(TnrwReport::Slot* lugar, std::string_view valor) { engine_.RepParam(lugar, valor); }
  // An amount as FormatValor prints it, formatted by the engine's sinks (on the output's thread)
  // rather than here.
  void CampoValor(const char* nome, double valor) { CampoValor(engine_.Place(nome), valor); }
  void CampoValor(TnrwReport::Slot* lugar, double valor) {
    engine_.RepParamNumber(lugar, TnFisORResumoConfLctoFis::PadraoValor(valor), valor);
  }
  void CampoNumero(TnrwReport::Slot* lugar, const char* padrao, double valor) {
    engine_.RepParamNumber(lugar, padrao, valor);
  }
  void Imprimir(int32_t secao) { engine_.RepPrintSection(secao); }
  bool PodeImprimir(int32_t secao) const { return engine_.DelphiCanPrintSection(secao); }

  TnFisORResumoConfLctoFis& r_;
  TnrwReport& engine_;

  double ChaveAtual = -1;
  int32_t TipoAtual = 0;
  TRecTotal TotalLinha;
  TRecTotal TotalValorDocumento;  // kept for ICMS and ISS lines; printed nowhere
  std::array<TRecTotal, kGrupos> Subtotais{};
  std::array<TRecTotal, kGrupos> TotaisTipo{};
  TRecTotal Total13, Total15, Total16, TotalValorAdicional;
  std::vector<TRecTotal> TotaisOperacao;
  TListaTextos ListaNatureza;    // in byte order, without repeats
  TListaTextos ListaOutrasInfo;  // sorted when the block prints
  std::string TextoPessoa;
  std::string TextoObservacao;
  // Buffers the printed texts are built in, kept from line to line so that a line builds no
  // string of its own.
  std::string texto_;
  std::string sql_municipio_;
  TVariantArray chave_produtos_;  // the range of a document's products
  std::string texto_progresso_;
  int64_t registros_progresso_ = -1;
  bool municipio_encontrado_ = false;
  // The PIS and COFINS rates' texts, kept from document to document (set by Preparar).
  std::optional<TTextoDeReal> aliquota_pis_, aliquota_cofins_;

  // The places of the document line's fields (section 13), which every tax line and PIS or
  // COFINS line sets: resolved once, as the columns' positions are.
  struct {
    TnrwReport::Slot *tipo, *uf, *aliquota, *cfop, *contabil, *base, *valor, *isentas, *outras,
        *chave, *numero, *serie, *especie, *pessoa, *modelo, *data, *emissao;
  } linha_{};

  // Field positions, resolved once.
  struct {
    int32_t chave, cfop, contabil, base, valor, isentas, outras, tipo, aliquota, exclusao, operacao;
  } imp_{};
  struct {
    int32_t data, numero, numero_final, serie, subserie, especie, pessoa, uf, historico, modelo,
        emissao;
  } doc_{};
  struct {
    int32_t nome, inscr_federal, uf, municipio, inscr_estadual, rural, inscr_produtor;
  } pes_{};
  int32_t nat_descricao_ = -1;
  struct {
    int32_t chave, produto, seq, valor_pis, valor_cofins;
  } pc_{};  // of the PIS/COFINS items, resolved when a document's products print
};

}  // namespace nfis
