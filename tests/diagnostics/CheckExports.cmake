# Checks the shared library's dynamic symbol table: what clients need is exported, the
# internals are not. Usage: cmake -DLIBRARY=<file> -DNM=<nm> -P CheckExports.cmake
execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
  OUTPUT_VARIABLE symbols ERROR_VARIABLE nm_error RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${nm_error}")
endif()

# Whole names, as nm prints them after the symbol's address and kind.
set(required
  "Quorlith::kzfpackage::verbose"
  "libqlkzfpackage_version"
  "libqlkzfpackage_build_date"
  "typeinfo for fl::i18n::DeployedException"
  "typeinfo for Quorlith::kzfpackage::Verbose"
  "typeinfo for resource_core::BaseMsgID")
# Parts of names of the i18n layer's internals.
set(forbidden
  "fl::i18n::detail::"
  "fl::i18n::(anonymous namespace)"
  "IconvHandle"
  "findKzfPackageMessage"
  "kMessages"
  "MessagesLocaleScope")

set(problems "")
foreach(name IN LISTS required)
  string(FIND "${symbols}" " ${name}\n" position)
  if(position EQUAL -1)
    string(APPEND problems "\n  not exported: ${name}")
  endif()
endforeach()
foreach(part IN LISTS forbidden)
  string(FIND "${symbols}" "${part}" position)
  if(NOT position EQUAL -1)
    string(APPEND problems "\n  exported internal symbol containing: ${part}")
  endif()
endforeach()
if(problems)
  message(FATAL_ERROR "${LIBRARY}:${problems}")
endif()
