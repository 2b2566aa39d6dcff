# What authors of modules and switches install: the component "development".
#
#     include/morla/*.h       the SDK, included as "morla/module.h"
#     include/morla/host/...  the host services, included as "os/process.h"; the package file and the
#                             CMake targets name this folder to the compiler
#     share/morla/*.map       what a module, and what a switch exports
include(CMakePackageConfigHelpers)

set(MORLA_DATA "${CMAKE_INSTALL_DATADIR}/morla")
set(development "${CMAKE_BINARY_DIR}/development")
file(RELATIVE_PATH MORLA_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" MORLA_PC_PREFIX "${MORLA_PC_PREFIX}")
foreach(name morla morla-host)
    configure_file(sdk/package/${name}.pc.in "${development}/${name}.pc" @ONLY)
    install(FILES "${development}/${name}.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
endforeach()

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/morla")
configure_package_config_file(sdk/package/morlaConfig.cmake.in "${development}/morlaConfig.cmake"
    INSTALL_DESTINATION "${package_folder}"
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR MORLA_DATA)
write_basic_package_version_file("${development}/morlaConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${development}/morlaConfig.cmake" "${development}/morlaConfigVersion.cmake"
    DESTINATION "${package_folder}" COMPONENT development)

install(DIRECTORY sdk/morla DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
install(FILES sdk/module.map sdk/switch.map DESTINATION "${MORLA_DATA}" COMPONENT development)
install(DIRECTORY examples
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/morla-dev" COMPONENT development)
install(CODE "set(source \"${CMAKE_SOURCE_DIR}\")
set(folder \"${CMAKE_INSTALL_INCLUDEDIR}/morla/host\")" COMPONENT development)
install(SCRIPT cmake/install_host_headers.cmake COMPONENT development)
