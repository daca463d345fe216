# The installed layout, under the prefix (GNUInstallDirs names):
#
#   lib/libwlbtfactory.so.0.1, .so.0, .so   the library         component Runtime
#   bin/wlbt, wlbt-hci, tavo-sim            the programs        component Runtime
#   share/java/wlbtfactory.jar              the JNI class       component Runtime (java/)
#   include/wlbtfactory/*.h                 the public headers  component Development
#   lib/cmake/wlbtfactory/                  find_package(wlbtfactory CONFIG)
#   lib/pkgconfig/wlbtfactory.pc            pkg-config
#
# The unversioned name libwlbtfactory.so goes with the runtime, not with the
# development files, because a JVM's System.loadLibrary looks for exactly it.

include(CMakePackageConfigHelpers)

set(WLBT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/wlbtfactory)

# The installed wlbt finds the installed library relative to its own
# directory, wherever the prefix is moved to. (wlbt-hci and tavo-sim do not
# load the shared library.)
file(RELATIVE_PATH _wlbt_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(wlbt PROPERTIES INSTALL_RPATH "$ORIGIN/${_wlbt_bin_to_lib}")

install(TARGETS wlbtfactory EXPORT wlbtfactoryTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime)
# wlbt finds the tavo-sim installed beside it (tools/wlbt.cpp).
install(TARGETS wlbt wlbt-hci tavo-sim
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
# A directory of their own: names such as bt_interface.h are too common for
# the top of an include directory. The headers include each other by plain
# name, which works from there.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/wlbtfactory COMPONENT Development
  FILES_MATCHING PATTERN "*.h")

install(EXPORT wlbtfactoryTargets NAMESPACE wlbtfactory::
  DESTINATION ${WLBT_INSTALL_CMAKEDIR} COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/wlbtfactoryConfig.cmake.in
  ${CMAKE_BINARY_DIR}/wlbtfactoryConfig.cmake INSTALL_DESTINATION ${WLBT_INSTALL_CMAKEDIR})
# Minor releases keep the exported interface (the soname is the major
# version), so any 0.x satisfies a request for 0.1.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/wlbtfactoryConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/wlbtfactoryConfig.cmake ${CMAKE_BINARY_DIR}/wlbtfactoryConfigVersion.cmake
  DESTINATION ${WLBT_INSTALL_CMAKEDIR} COMPONENT Development)

# wlbtfactory.pc names the prefix the files were installed under, which is
# known only at install time (`cmake --install --prefix`); so the file is
# filled in twice: here everything but the prefix, there the prefix.
foreach(_dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${_dir}}")
    set(WLBT_PC_${_dir} "${CMAKE_INSTALL_${_dir}}")
  else()
    set(WLBT_PC_${_dir} "\${prefix}/${CMAKE_INSTALL_${_dir}}")
  endif()
endforeach()
set(WLBT_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/wlbtfactory.pc.in ${CMAKE_BINARY_DIR}/pkgconfig/wlbtfactory.pc.in @ONLY)
install(CODE "configure_file(\"${CMAKE_BINARY_DIR}/pkgconfig/wlbtfactory.pc.in\" \"${CMAKE_BINARY_DIR}/pkgconfig/wlbtfactory.pc\" @ONLY)"
  COMPONENT Development)
install(FILES ${CMAKE_BINARY_DIR}/pkgconfig/wlbtfactory.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
