# The reference LZFSE library, built from the sources that scripts/setup.sh fetches.
set(LZFSE_SOURCE_DIR ${PROJECT_SOURCE_DIR}/.deps/lzfse/src CACHE PATH "LZFSE C sources")
if(NOT EXISTS ${LZFSE_SOURCE_DIR}/lzfse.h)
    message(FATAL_ERROR "The LZFSE sources are missing from ${LZFSE_SOURCE_DIR}. Run scripts/setup.sh first.")
endif()
file(GLOB lzfse_sources ${LZFSE_SOURCE_DIR}/*.c)
list(FILTER lzfse_sources EXCLUDE REGEX "lzfse_main\\.c$")
add_library(lzfse STATIC ${lzfse_sources})
target_include_directories(lzfse SYSTEM PUBLIC ${LZFSE_SOURCE_DIR})
set_target_properties(lzfse PROPERTIES C_STANDARD 11 POSITION_INDEPENDENT_CODE ON)
# The reference encoder computes a table entry with a shift by -1 for symbols whose entry is
# never used (fse_init_encoder_table); UndefinedBehaviorSanitizer would stop on it, so the
# library is built without that sanitizer (AddressSanitizer still applies).
target_compile_options(lzfse PRIVATE -O2 -w -fno-sanitize=undefined)
