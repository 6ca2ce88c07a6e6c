// A small company database built by hand for the provider and header tests: company 1 with
// establishments 1 and 2, company 2 with establishment 1, January 2026.
//
// Entries of (1, 1): key 1 on 05/01 09:00 (NFE, supplier 10, ICMS 18 %, IPI, substitution
// 11403, two products and an adjustment item, observation "obs 1"), key 3 on 31/01 18:30 (NF,
// rural producer 20, purpose 2, user 2, ICMS 12 % and FunRural), key 5 on 01/02 (outside).
// Exits of (1, 1): key 2 on 01/01 07:30 (NFE, customer 30, ICMS 5102 and 6102, one product),
// key 4 on 20/01 12:00 ("nfs" in lower case, ISS 5933, purpose 4, user 3).
// Others: key 7 entry of (1, 2), key 6 exit of (2, 1).
#pragma once

#include "host/sql.hpp"

namespace nrw::testing {

void BuildFiscalFixture(TSQLConnection& connection);

// A date of 2026 (January by default), and a date and time of day.
Variant Day(int day, int month = 1);
Variant At(int day, int hour, int minute, int month = 1);

}  // namespace nrw::testing
