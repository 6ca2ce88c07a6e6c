#include "tests/runtime/fiscal_fixture.hpp"

#include "host/sysutils.hpp"
#include "schema/company_schema.hpp"

namespace nrw::testing {

Variant Day(int day, int month) {
  return Variant::FromDateTime(EncodeDate(2026, month, day));
}
Variant At(int day, int hour, int minute, int month) {
  return Variant::FromDateTime(EncodeDate(2026, month, day) + EncodeTime(hour, minute, 0));
}

void BuildFiscalFixture(TSQLConnection& c) {
  schema::CreateTables(c);
  schema::LoadReferenceData(c, "");
  const Variant null;
  schema::WriteRows(
      c, "EMPRESA",
      {{1, "Comercial Teste Ltda", "11222333000181"}, {2, "Outra Empresa S.A.", "44555666000199"}});
  schema::WriteRows(c, "ESTAB",
                    {{1, 1, "Matriz", "11222333000181", "110042490114", "SP", 3550308},
                     {1, 2, "Filial Campinas", "11222333000262", "244123456119", "SP", 3509502},
                     {2, 1, "Matriz", "44555666000199", "0012345678", "MG", 3106200}});
  schema::WriteRows(c, "PESSOA",
                    {{10, "Fornecedor A", "12345678000195", "SP", 3550308, "111111111111", 0, null},
                     {20, "Produtor B", "12345678909", "MG", 3106200, "ISENTO", 1, "PR-555"},
                     {30, "Cliente C", "98765432000198", "RJ", 3304557, "222222222", 0, null},
                     {40, "Sem Movimento", "11111111000191", "SP", 3550308, "3", 0, null}});
  schema::WriteRows(c, "PRODUTO",
                    {{1, 1, "Arroz 5 kg", "1006.30.21"}, {1, 2, "Feijão 1 kg", "0000.00.00"}});
  schema::WriteRows(c, "LCTOFISENT",
                    {{1, 1, 1, Day(5), At(5, 9, 0), Day(4), 100, 100, "1", null, "NFE", 10, "SP",
                      "obs 1", "55", 1, 1},
                     {1, 1, 3, Day(31), At(31, 18, 30), Day(30), 300, 300, "A", "1", "NF", 20, "MG",
                      null, "01", 2, 2},
                     {1, 1, 5, Day(1, 2), At(1, 8, 0, 2), Day(1, 2), 500, 500, "1", null, "NFE", 10,
                      "SP", null, "55", 1, 1},
                     {1, 2, 7, Day(10), At(10, 10, 0), Day(10), 700, 700, "1", null, "NFE", 10,
                      "SP", null, "55", 1, 1}});
  schema::WriteRows(c, "LCTOFISSAI",
                    {{1, 1, 2, Day(1), At(1, 7, 30), Day(1), 200, 205, "1", null, "NFE", 30, "RJ",
                      null, "55", 1, 1},
                     {1, 1, 4, Day(20), At(20, 12, 0), Day(20), 400, 400, "U", null, "nfs", 30,
                      "RJ", null, "99", 4, 3},
                     {2, 1, 6, Day(15), At(15, 15, 0), Day(15), 600, 600, "1", null, "NFE", 30,
                      "RJ", null, "55", 1, 1}});
  schema::WriteRows(c, "LCTOFISENTIMPOSTO",
                    {{1, 1, 1, 1, 1, 1102, 18.0, 100.0, 100.0, 18.0, 0.0, 0.0, 0.0, null},
                     {1, 1, 1, 2, 10, 1102, 10.0, 100.0, 100.0, 10.0, 0.0, 0.0, 0.0, null},
                     {1, 1, 1, 3, 13, 1403, 18.0, 100.0, 140.0, 7.2, 0.0, 0.0, 0.0, 11403},
                     {1, 1, 3, 1, 1, 1102, 12.0, 50.0, 50.0, 6.0, 0.0, 0.0, 2.5, null},
                     {1, 1, 3, 2, 11, 1102, 1.5, 50.0, 50.0, 0.75, 0.0, 0.0, 0.0, null},
                     {1, 1, 5, 1, 1, 1102, 18.0, 10.0, 10.0, 1.8, 0.0, 0.0, 0.0, null},
                     {1, 2, 7, 1, 1, 1102, 18.0, 70.0, 70.0, 12.6, 0.0, 0.0, 0.0, null}});
  schema::WriteRows(c, "LCTOFISSAIIMPOSTO",
                    {{1, 1, 2, 1, 1, 5102, 18.0, 200.0, 200.0, 36.0, 0.0, 0.0, 0.0, null},
                     {1, 1, 2, 2, 1, 6102, 12.0, 100.0, 80.0, 9.6, 0.0, 20.0, 0.0, null},
                     {1, 1, 4, 1, 2, 5933, 5.0, 300.0, 300.0, 15.0, 0.0, 0.0, 0.0, null},
                     {2, 1, 6, 1, 1, 5102, 18.0, 60.0, 60.0, 10.8, 0.0, 0.0, 0.0, null}});
  schema::WriteRows(
      c, "LCTOFISENTPRODUTO",
      {{1, 1, 1, Day(5), 1, 1, "0", 1102, 2.0, 30.0, 60.0, 60.0, 60.0, 1.65, 0.99, 7.6, 4.56},
       {1, 1, 1, Day(5), 2, 2, "0", 1102, 4.0, 10.0, 40.0, 40.0, 40.0, 1.65, 0.66, 7.6, 3.04},
       {1, 1, 1, Day(5), 991, 2, "0", 1102, 1.0, 0.5, 0.5, 0.5, 0.5, 1.65, 0.01, 7.6, 0.04}});
  schema::WriteRows(
      c, "LCTOFISSAIPRODUTO",
      {{1, 1, 2, Day(1), 1, 1, "0", 5102, 10.0, 30.0, 300.0, 300.0, 300.0, 0.65, 1.95, 3.0, 9.0}});
  schema::WriteRows(c, "LCTOFISSAICONFRETE", {{1, 1, 2, Day(1), 1, 9001, "1", 300.0}});
}

}  // namespace nrw::testing
