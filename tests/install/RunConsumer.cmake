# Installs a build tree into a fresh prefix, then builds the consumer program against that prefix
# only, once through find_package(kzfpackage) and once through pkg-config, and runs both builds.
# Run with cmake -P; fails at the first step that does not succeed.
cmake_minimum_required(VERSION 3.25)

function(run_step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}\n${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${KZF_WORK_DIR}/prefix)
set(consumer_build ${KZF_WORK_DIR}/consumer-build)
file(REMOVE_RECURSE ${KZF_WORK_DIR})
file(MAKE_DIRECTORY ${KZF_WORK_DIR}/run)

run_step("install" ${CMAKE_COMMAND} --install ${KZF_BUILD_DIR} --prefix ${prefix})

# A sanitized library needs its runtime in the program that loads it.
set(flags "")
if(KZF_SANITIZE)
  set(flags "-fsanitize=${KZF_SANITIZE}")
endif()
run_step("configure the consumer" ${CMAKE_COMMAND} -S ${KZF_CONSUMER_SOURCE} -B ${consumer_build}
  -G ${KZF_GENERATOR} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  "-DCMAKE_CXX_FLAGS=${flags}")
run_step("build the consumer" ${CMAKE_COMMAND} --build ${consumer_build})
run_step("run the consumer" ${consumer_build}/consumer ${KZF_WORK_DIR}/run)
if(NOT step_output STREQUAL "consumer: ok\n")
  message(FATAL_ERROR "unexpected consumer output: ${step_output}")
endif()

# The same program with nothing but the compiler and what pkg-config says.
file(GLOB_RECURSE pc_file ${prefix}/kzfpackage.pc)
if(NOT pc_file)
  message(FATAL_ERROR "the pkg-config file kzfpackage.pc was not installed")
endif()
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(pkg_config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} ${KZF_PKG_CONFIG})
run_step("pkg-config --cflags --libs" ${pkg_config} --cflags --libs kzfpackage)
separate_arguments(pc_flags UNIX_COMMAND "${step_output}")
run_step("pkg-config --variable=libdir" ${pkg_config} --variable=libdir kzfpackage)
string(STRIP "${step_output}" pc_libdir)
separate_arguments(sanitize_flags UNIX_COMMAND "${flags}")
file(MAKE_DIRECTORY ${KZF_WORK_DIR}/run-pc)
run_step("build the consumer with pkg-config" ${KZF_CXX} -std=c++17 -Wall -Wextra -Werror
  ${sanitize_flags} ${KZF_CONSUMER_SOURCE}/main.cpp ${pc_flags} -Wl,-rpath,${pc_libdir}
  -o ${KZF_WORK_DIR}/consumer-pc)
run_step("run the pkg-config consumer" ${KZF_WORK_DIR}/consumer-pc ${KZF_WORK_DIR}/run-pc)
if(NOT step_output STREQUAL "consumer: ok\n")
  message(FATAL_ERROR "unexpected pkg-config consumer output: ${step_output}")
endif()

# The installed tool finds the installed library through its run path, and the installed
# German catalogs translate both the tool's and the library's messages.
file(GLOB_RECURSE installed_kzf ${prefix}/bin/kzf)
run_step("run the installed kzf" ${installed_kzf} --version)
if(NOT step_output MATCHES "^kzf [0-9.]+ \\(libqlkzfpackage ")
  message(FATAL_ERROR "unexpected kzf --version output: ${step_output}")
endif()
foreach(catalog kzf qlkzfpackage)
  if(NOT EXISTS ${prefix}/share/locale/de/LC_MESSAGES/${catalog}.mo)
    message(FATAL_ERROR "the German catalog ${catalog}.mo was not installed")
  endif()
endforeach()
if(NOT EXISTS ${prefix}/share/man/man1/kzf.1)
  message(FATAL_ERROR "the kzf manual page was not installed")
endif()

# Moved elsewhere, the prefix still speaks German: the catalogs are found beside the library,
# not at the path the build was configured for. (Skipped where no German locale is installed.)
execute_process(COMMAND locale -a OUTPUT_VARIABLE locales)
if(locales MATCHES "de_DE\\.utf8")
  file(RENAME ${prefix} ${KZF_WORK_DIR}/moved)
  file(GLOB_RECURSE moved_kzf ${KZF_WORK_DIR}/moved/bin/kzf)
  foreach(command "list;missing.kzf" "create;a.kzf;missing")
    execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=KZF_LOCALEDIR --unset=LC_ALL
                      LANG=de_DE.UTF-8 LANGUAGE=de ${moved_kzf} ${command}
                    WORKING_DIRECTORY ${KZF_WORK_DIR}/run ERROR_VARIABLE err RESULT_VARIABLE status)
    if(NOT status EQUAL 1 OR NOT err MATCHES "(wurde nicht gefunden|keine solche Datei)")
      message(FATAL_ERROR "the moved prefix's kzf ${command} is not German (${status}): ${err}")
    endif()
  endforeach()
endif()
