# The host-services library, for programs and modules beside the daemon.
#
# libmorla_host.so holds the services alone. The trace object `Debug` stays undefined in it: the
# program that loads it has one (the daemon exports its own), and everything writes through that.
# Of the trace facility it holds the system-log channel only.
# The shared library is never unloaded (-z nodelete): a thread that was given up in a system call
# may return into it at any time.
# libmorla_host.a is for a program of its own and contains the trace facility too.
set(host_parts morla_base morla_os morla_hardware morla_syslog)

add_library(morla_host_shared SHARED)
foreach(part ${host_parts})
    target_sources(morla_host_shared PRIVATE $<TARGET_OBJECTS:${part}>)
endforeach()
set(exports "${CMAKE_SOURCE_DIR}/cmake/host_library.map")
target_link_options(morla_host_shared PRIVATE "-Wl,--version-script=${exports}" -Wl,-z,nodelete)
set_target_properties(morla_host_shared PROPERTIES
    OUTPUT_NAME morla_host LINKER_LANGUAGE CXX LINK_DEPENDS "${exports}"
    VERSION "${PROJECT_VERSION}" SOVERSION "${PROJECT_VERSION_MAJOR}")
target_link_libraries(morla_host_shared PUBLIC morla_options morla_sdk)
install(TARGETS morla_host_shared LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT runtime NAMELINK_COMPONENT development)

add_library(morla_host_static STATIC)
foreach(part ${host_parts} morla_trace)
    target_sources(morla_host_static PRIVATE $<TARGET_OBJECTS:${part}>)
endforeach()
set_target_properties(morla_host_static PROPERTIES OUTPUT_NAME morla_host LINKER_LANGUAGE CXX)
target_link_libraries(morla_host_static PUBLIC morla_options morla_sdk)
install(TARGETS morla_host_static ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT development)
