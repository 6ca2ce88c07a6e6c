# System packages (installed by scripts/install-deps.sh); nothing is vendored.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
# PDF: pango finds the layout's font through fontconfig and gives its glyphs and advances; zlib
# compresses the pages and the embedded fonts.
pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET pangocairo pangoft2 fontconfig)
find_package(ZLIB REQUIRED)
# Spreadsheets: libxlsxwriter writes xlsx in constant memory (rows streamed to the file).
pkg_check_modules(XLSXWRITER REQUIRED IMPORTED_TARGET xlsxwriter)
find_package(SQLite3 REQUIRED)
find_package(PostgreSQL REQUIRED)
find_package(nlohmann_json 3 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
if(NRW_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(NRW_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
