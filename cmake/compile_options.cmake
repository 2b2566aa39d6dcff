# The one set of flags for every target: warnings as errors, hardening, hidden visibility.
#
# Everything is compiled as position-independent code in the library sense (-fPIC), executables
# too: with -fPIE the linker would copy data objects of the C and C++ runtime into the daemon and
# export them from there, and `Debug` must stay the only data object that the daemon exports.
find_package(Threads REQUIRED)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_library(morla_options INTERFACE)
target_include_directories(morla_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_link_libraries(morla_options INTERFACE Threads::Threads)
target_compile_options(morla_options INTERFACE
    -fPIC -g -fno-plt -fasynchronous-unwind-tables -ffunction-sections
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wmissing-declarations -Wcast-align
    "$<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor;-Woverloaded-virtual>")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(morla_options INTERFACE
        -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wcast-align=strict
        "$<$<COMPILE_LANGUAGE:CXX>:-Wuseless-cast;-Wsuggest-override>")
endif()

# Functions that nobody calls are left out: the daemon's code is memory that it has to itself.
target_link_options(morla_options INTERFACE
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--gc-sections)
if(MORLA_FUZZ)
    # Fuzz targets add the engine itself when they are linked (fuzz/CMakeLists.txt). What clang
    # warns of beyond g++ is no error: the ordinary build is the one that holds to warnings.
    set(sanitizer_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
        -fno-omit-frame-pointer -O1 -Wno-error)
elseif(MORLA_SANITIZE STREQUAL "address")
    # The check of objects (vptr) in libraries that the daemon loads would want the type
    # information of CDebug, which the daemon does not export.
    set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
        -fno-omit-frame-pointer -O1)
elseif(MORLA_SANITIZE STREQUAL "thread")
    set(sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer -O1)
elseif(MORLA_COVERAGE)
    # Counts are added to the files at the end of a process, by several at once.
    set(sanitizer_flags --coverage -fprofile-update=atomic -O0 -Wno-error)
elseif(MORLA_SANITIZE)
    message(FATAL_ERROR "MORLA_SANITIZE must be address, thread or empty, not '${MORLA_SANITIZE}'")
endif()
# True where binaries hold more than the product's: its tests do not look at those then.
set(MORLA_INSTRUMENTED OFF)
if(MORLA_SANITIZE OR MORLA_COVERAGE)
    set(MORLA_INSTRUMENTED ON)
endif()
if(sanitizer_flags)
    # Not with _FORTIFY_SOURCE: its checked calls pass the interceptors by. A target that must
    # stay free of the sanitizers' runtime sets its property MORLA_UNSANITIZED.
    set(instrumented $<NOT:$<BOOL:$<TARGET_PROPERTY:MORLA_UNSANITIZED>>>)
    target_compile_options(morla_options INTERFACE "$<${instrumented}:${sanitizer_flags}>")
    target_link_options(morla_options INTERFACE "$<${instrumented}:${sanitizer_flags}>")
else()
    target_compile_options(morla_options INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

# An executable of ours: position-independent, so that its addresses are randomised.
function(morla_executable name)
    target_link_options(${name} PRIVATE -pie)
    target_link_libraries(${name} PRIVATE morla_options)
endfunction()
