# Install rules: the library with the headers a host needs, the MobileDevice stand-in
# that gives a host its device handles, the programs veldrake and veldrake-devicesim,
# the samples the built-in device serves, a CMake package (find_package(Veldrake) ->
# Veldrake::VeldrakeForMac, Veldrake::Backup, Veldrake::MobileDevice) and pkg-config files
# (veldrake.pc, veldrake-backup.pc).
#
# Layout under the prefix: lib/ (the libraries side by side: the library finds the
# stand-ins through $ORIGIN), bin/ (programs, which find lib/ through ../lib),
# include/veldrake/ (so "QX/Contact.h" and "veldrake/Session.h" resolve as in the tree),
# share/veldrake/samples/.
include(CMakePackageConfigHelpers)

set(VELDRAKE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Veldrake)
set(VELDRAKE_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/veldrake)

install(TARGETS VeldrakeForMac EXPORT VeldrakeTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${VELDRAKE_HEADER_DIR})
# libVeldrakeBackup (Veldrake::Backup), beside the first library; its header
# veldrake/Backup.h goes with the public folders below.
install(TARGETS VeldrakeBackup EXPORT VeldrakeTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${VELDRAKE_HEADER_DIR})
install(EXPORT VeldrakeTargets NAMESPACE Veldrake:: DESTINATION ${VELDRAKE_CMAKE_DIR})

# The public folders whole: every header in them is one a host may include, since the
# private ones sit beside their sources in src/. include/prop and include/BPListReader
# are the property-list layer's own and stay behind.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/QX ${PROJECT_SOURCE_DIR}/include/veldrake
        DESTINATION ${VELDRAKE_HEADER_DIR})

if(NOT APPLE)
  # The stand-ins beside the library; each finds the other through $ORIGIN.
  set_target_properties(MobileDeviceStandIn CoreFoundationStandIn PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS MobileDeviceStandIn CoreFoundationStandIn
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  # The platform's control interfaces for hosts (md*.h), not the framework's declarations.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/MobileDevice
          DESTINATION ${VELDRAKE_HEADER_DIR} FILES_MATCHING PATTERN "md*.h")
  set(VELDRAKE_MOBILEDEVICE_FILE
      ${CMAKE_SHARED_LIBRARY_PREFIX}MobileDeviceStandIn${CMAKE_SHARED_LIBRARY_SUFFIX})
endif()

# The emulator program links the stand-ins too.
set_target_properties(veldrake-devicesim PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/samples/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/veldrake/samples)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VeldrakeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VeldrakeConfig.cmake
  INSTALL_DESTINATION ${VELDRAKE_CMAKE_DIR}
  PATH_VARS VELDRAKE_HEADER_DIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeldrakeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VeldrakeConfig.cmake
              ${PROJECT_BINARY_DIR}/VeldrakeConfigVersion.cmake
        DESTINATION ${VELDRAKE_CMAKE_DIR})

# The pkg-config files name the prefix the install goes to, clean (no
# "lib/pkgconfig/../.."), so that no odd path is baked into a host's run path: the prefix
# is only known when `cmake --install --prefix` runs, so each file is written then, from a
# copy made now that still holds the placeholder.
set(VELDRAKE_PC_PREFIX "@VELDRAKE_PC_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/cmake/veldrake.pc.in ${PROJECT_BINARY_DIR}/veldrake.pc.in @ONLY)
# veldrake-backup.pc: the backup library alone (it needs no device, so no stand-in flags).
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/veldrake-backup.pc.in @ONLY CONTENT
[[prefix=@VELDRAKE_PC_PREFIX@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@
includedir=${prefix}/@CMAKE_INSTALL_INCLUDEDIR@/veldrake

Name: veldrake-backup
Description: Reads the contacts and notes of a phone's local backup folder (libVeldrakeBackup)
Version: @PROJECT_VERSION@
Libs: -L${libdir} -Wl,-rpath,${libdir} -lVeldrakeBackup
Cflags: -I${includedir}
]])
foreach(pc veldrake veldrake-backup)
  install(CODE "
    cmake_path(SET VELDRAKE_PC_PREFIX NORMALIZE \"\${CMAKE_INSTALL_PREFIX}\")
    string(REGEX REPLACE \"(.)/+$\" \"\\\\1\" VELDRAKE_PC_PREFIX \"\${VELDRAKE_PC_PREFIX}\")
    configure_file(\"${PROJECT_BINARY_DIR}/${pc}.pc.in\" \"${PROJECT_BINARY_DIR}/${pc}.pc\" @ONLY)
  ")
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
