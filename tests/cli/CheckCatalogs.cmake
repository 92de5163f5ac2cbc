# Extracts the message texts from the sources and checks that each catalog translates all of
# them (msgcmp fails on a missing or untranslated text). Run with cmake -P.
cmake_minimum_required(VERSION 3.25)

set(domains qlkzfpackage kzf)
set(qlkzfpackage_sources ${SOURCE_DIR}/platform/i18n/src/KzfPackageMessages.cpp)
set(qlkzfpackage_keywords --keyword=N_)
file(GLOB kzf_sources ${SOURCE_DIR}/tools/kzf/*.cpp)
set(kzf_keywords --keyword=tr --keyword=trPlural:1,2)

foreach(domain IN LISTS domains)
  set(pot ${WORK_DIR}/${domain}.pot)
  execute_process(COMMAND ${XGETTEXT} ${${domain}_keywords} --from-code=UTF-8 -o ${pot}
                          ${${domain}_sources}
                  RESULT_VARIABLE status ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "xgettext for ${domain} failed: ${err}")
  endif()
  file(GLOB catalogs ${SOURCE_DIR}/po/${domain}/*.po)
  foreach(catalog IN LISTS catalogs)
    execute_process(COMMAND ${MSGCMP} ${catalog} ${pot}
                    RESULT_VARIABLE status ERROR_VARIABLE err)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "${catalog} does not translate every message:\n${err}")
    endif()
  endforeach()
endforeach()

# The help also prints CLI11's own type words beside values (TEXT, INT, ...): each one it can
# print must go through tr() in the tool, so that the check above covers its translation.
if(CLI11_TYPETOOLS)
  set(tool_text "")
  foreach(source IN LISTS kzf_sources)
    file(READ ${source} text)
    string(APPEND tool_text "${text}")
  endforeach()
  file(STRINGS ${CLI11_TYPETOOLS} returns REGEX "return \"[A-Z]+\";")
  foreach(line IN LISTS returns)
    string(REGEX MATCH "\"[A-Z]+\"" word "${line}")
    string(FIND "${tool_text}" "tr(${word})" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "the help's type word ${word} does not go through the catalog")
    endif()
  endforeach()
endif()
