# Compiler settings shared by every Velmox target: warnings as errors, optional sanitizers,
# ccache when present.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(velmox_options INTERFACE)
target_compile_options(velmox_options INTERFACE -Wall -Wextra -Wpedantic -Werror)
target_compile_definitions(velmox_options INTERFACE
    QT_NO_FOREACH QT_NO_URL_CAST_FROM_STRING)

if(VELMOX_SANITIZE)
    set(sanitize_flags -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_compile_options(${sanitize_flags})
    add_link_options(${sanitize_flags})
endif()

if(VELMOX_FUZZ)
    # Coverage for libFuzzer in every library; the fuzz programs add the fuzzer's main.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
    # libstdc++ 12 offers std::expected only when the compiler announces C++20 concepts in
    # full; clang 16 implements what <expected> needs but still announces the older value.
    add_compile_options(-Wno-builtin-macro-redefined -U__cpp_concepts -D__cpp_concepts=202002L)
endif()

# velmox_library(NAME sources... LINK deps...) : one static library per source folder.
function(velmox_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC velmox_options ${ARG_LINK})
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
endfunction()

# velmox_folder_library(NAME [LINK deps...]): the library of one source folder, made of
# every .cpp/.h in it (and, for platform services, in its back-end subfolders).
function(velmox_folder_library name)
    cmake_parse_arguments(ARG "" "" "LINK;SUBFOLDERS" ${ARGN})
    set(patterns ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    foreach(sub IN LISTS ARG_SUBFOLDERS)
        list(APPEND patterns ${CMAKE_CURRENT_SOURCE_DIR}/${sub}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/${sub}/*.h)
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS ${patterns})
    velmox_library(${name} SOURCES ${sources} LINK ${ARG_LINK})
endfunction()
