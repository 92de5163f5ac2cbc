# Installs what a client of the library needs: the shared library, the headers its API uses
# (the package library's own and the platform headers its signatures name), a CMake package
# "kzfpackage" with the imported target kzfpackage::qlkzfpackage, and a pkg-config file
# "kzfpackage.pc".
include(CMakePackageConfigHelpers)

install(TARGETS qlkzfpackage kzf_api EXPORT kzfpackageTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kzfpackageTargets NAMESPACE kzfpackage::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kzfpackage)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kzfpackage
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Only the platform headers that the exported API includes, and those of the exceptions it lets
# through (KZFSettingsSerializer::load throws MalformedDocumentError): the platform layers' other headers
# declare functions the shared library keeps hidden, which a client could not link to.
set(KZF_PLATFORM_API_HEADERS
  i18n/include/fl/i18n/DeployedException.hpp
  i18n/include/fl/i18n/Export.hpp
  i18n/include/fl/i18n/ustring.hpp
  i18n/include/resource_core/BaseMsgID.hpp
  datainterfaces/include/kzfdatainterfaces/Export.hpp
  datainterfaces/include/kzfdatainterfaces/KZFByteArray.hpp
  datainterfaces/include/kzfdatainterfaces/KZFFileReader.hpp
  datainterfaces/include/kzfdatainterfaces/KZFFileReaderFactory.hpp
  datainterfaces/include/kzfdatainterfaces/KZFMetaData.hpp
  datainterfaces/include/kzfdatainterfaces/KZFReaderFactoryHandle.hpp
  datainterfaces/include/kzfdatainterfaces/KZFRecordData.hpp
  datainterfaces/include/kzfdatainterfaces/KZFStreamReader.hpp
  opc/include/opc/Export.hpp
  opc/include/opc/Stream.hpp
  opc/include/opc/String.hpp
  opc/include/opc/model/CoreProperties.hpp
  xsdbinder/include/xsd_binder/Element.hpp
  xsdbinder/include/xsd_binder/Export.hpp
  xsdbinder/include/xsd_binder/IDGenerator.hpp
  xsdbinder/include/xsd_binder/MalformedDocumentError.hpp)
foreach(header IN LISTS KZF_PLATFORM_API_HEADERS)
  string(REGEX REPLACE "^[a-z0-9]+/include/" "" relative ${header})
  get_filename_component(folder ${relative} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/platform/${header}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kzfpackageConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kzfpackageConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kzfpackage)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kzfpackageConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kzfpackageConfig.cmake
              ${PROJECT_BINARY_DIR}/kzfpackageConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kzfpackage)

# The pkg-config file finds the prefix from its own place ("${pcfiledir}/../..."), because
# "cmake --install --prefix" may choose another prefix than the one configured.
set(KZF_PC_TO_PREFIX "")
string(REPLACE "/" ";" kzf_pc_steps "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
foreach(step IN LISTS kzf_pc_steps)
  string(APPEND KZF_PC_TO_PREFIX "../")
endforeach()
string(REGEX REPLACE "/$" "" KZF_PC_TO_PREFIX "${KZF_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/kzfpackage.pc.in ${PROJECT_BINARY_DIR}/kzfpackage.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kzfpackage.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
