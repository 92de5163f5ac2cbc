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
