# Functions that define the project's targets. All settings are usage requirements of targets:
# nothing here changes a directory's or a parent project's flags.
include_guard(GLOBAL)

set(_gnu_like "$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>")

# Every result must be the same on every machine, so a product and a sum are never fused. Inline
# code of the headers is compiled by the consumers: they need the flag too.
set(SCENECULL_FLOAT_OPTIONS "$<${_gnu_like}:-ffp-contract=off>")

# ---- Build settings of our own targets -----------------------------------------------------------

add_library(scenecull_build_settings INTERFACE)
target_compile_options(scenecull_build_settings INTERFACE
    $<${_gnu_like}:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wnon-virtual-dtor;-Woverloaded-virtual>
    $<$<CXX_COMPILER_ID:MSVC>:/W4;/permissive->)
if(SCENECULL_WERROR)
    target_compile_options(scenecull_build_settings INTERFACE
        $<${_gnu_like}:-Werror>
        $<$<CXX_COMPILER_ID:MSVC>:/WX>)
endif()
if(SCENECULL_SANITIZE)
    # A finding ends the program, so that no test passes over one.
    set(_flags "-fsanitize=${SCENECULL_SANITIZE}" -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_compile_options(scenecull_build_settings INTERFACE ${_flags})
    target_link_options(scenecull_build_settings INTERFACE ${_flags})
endif()
if(SCENECULL_COVERAGE)
    target_compile_options(scenecull_build_settings INTERFACE --coverage)
    target_link_options(scenecull_build_settings INTERFACE --coverage)
endif()

# What a file needs in order to include our headers. Targets that are linked now with the shared
# libraries and now with their objects (scenes, test support) use this alone.
add_library(scenecull_headers INTERFACE)
target_compile_features(scenecull_headers INTERFACE cxx_std_17)
target_compile_options(scenecull_headers INTERFACE ${SCENECULL_FLOAT_OPTIONS})
target_include_directories(scenecull_headers INTERFACE "${PROJECT_SOURCE_DIR}/src/lib")
if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(scenecull_headers INTERFACE TQU_STATIC TQL_STATIC TQOC_STATIC)
endif()
if(SCENECULL_CHECKED)
    target_compile_definitions(scenecull_headers INTERFACE TQU_CHECKED)
endif()

# ---- Functions -----------------------------------------------------------------------------------

# scenecull_add_library(AREA TARGET name MACRO prefix SOURCES... HEADERS... [LINK targets...])
#
# Makes the library TARGET (alias scenecull::AREA, where TARGET is scenecull_AREA or scenecull) and
# scenecull_AREA_objects, the same object files for the tests, which may then reach what is not
# exported.
function(scenecull_add_library area)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TARGET;MACRO" "SOURCES;HEADERS;LINK")

    set(objects scenecull_${area}_objects)
    add_library(${objects} OBJECT ${arg_SOURCES} ${arg_HEADERS})
    set_target_properties(${objects} PROPERTIES
        CXX_STANDARD 17
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    target_link_libraries(${objects} PRIVATE
        scenecull_headers scenecull_build_settings Threads::Threads)
    target_compile_options(${objects} PRIVATE $<${_gnu_like}:-Wconversion;-Wundef>)
    if(BUILD_SHARED_LIBS)
        target_compile_definitions(${objects} PRIVATE ${arg_MACRO}_BUILD)
        # So that the compiler may inline them, too; see the link options below.
        target_compile_options(${objects} PRIVATE
            $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
    endif()

    add_library(${arg_TARGET} $<TARGET_OBJECTS:${objects}>)
    add_library(scenecull::${area} ALIAS ${arg_TARGET})
    string(REPLACE "_" "-" output_name "${arg_TARGET}")
    set_target_properties(${arg_TARGET} PROPERTIES
        EXPORT_NAME ${area}
        OUTPUT_NAME ${output_name}
        LINKER_LANGUAGE CXX
        VERSION ${PROJECT_VERSION}
        # Before 1.0 a minor version may break the binary interface.
        SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    target_compile_features(${arg_TARGET} PUBLIC cxx_std_17)
    target_compile_options(${arg_TARGET} PUBLIC ${SCENECULL_FLOAT_OPTIONS})
    target_include_directories(${arg_TARGET} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/lib>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/scenecull>)
    target_link_libraries(${arg_TARGET}
        PUBLIC ${arg_LINK}
        PRIVATE Threads::Threads $<BUILD_INTERFACE:scenecull_build_settings>)
    if(NOT BUILD_SHARED_LIBS)
        target_compile_definitions(${arg_TARGET} PUBLIC ${arg_MACRO}_STATIC)
    elseif(UNIX AND NOT APPLE)
        # Hidden visibility does not reach instances of the standard library's templates.
        set(map "${PROJECT_SOURCE_DIR}/cmake/exports-${area}.map")
        # Calls between our own functions go straight to them: no other library may put itself
        # before them. The address of one may then differ between a program and the library.
        target_link_options(${arg_TARGET} PRIVATE
            "LINKER:--version-script=${map}" LINKER:-Bsymbolic-functions)
        set_property(TARGET ${arg_TARGET} APPEND PROPERTY LINK_DEPENDS "${map}")
        # Our libraries are installed side by side and find each other there.
        set_target_properties(${arg_TARGET} PROPERTIES INSTALL_RPATH "$ORIGIN")
    endif()
    if(SCENECULL_CHECKED)
        # Layouts do not depend on it, so that an unchecked program may use a checked library.
        target_compile_definitions(${arg_TARGET} PUBLIC $<BUILD_INTERFACE:TQU_CHECKED>)
    endif()

    if(SCENECULL_INSTALL)
        install(TARGETS ${arg_TARGET} EXPORT scenecullTargets
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
        set(public_headers ${arg_HEADERS})
        list(FILTER public_headers EXCLUDE REGEX "^internal/")
        install(FILES ${public_headers}
            DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/scenecull/${area}")
    endif()
endfunction()

# Settings of a target that is ours but no library for others: tests, benchmarks, applications.
function(scenecull_own_settings target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_link_libraries(${target} PRIVATE scenecull_build_settings)
    # g++ 12 sees overlapping copies in std::string's operator+ where there are none.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
endfunction()

# Says that a part is not built and why; an error where the part is asked for.
function(scenecull_left_out part reason)
    if(part IN_LIST SCENECULL_REQUIRE)
        message(FATAL_ERROR "scenecull: cannot build the ${part}: ${reason}")
    endif()
    message(STATUS "scenecull: leaving out the ${part}: ${reason}")
endfunction()

# scenecull_find_or_skip(NAME PART part PACKAGE debian-package [VERSION minimum])
macro(scenecull_find_or_skip name)
    cmake_parse_arguments(_find "" "PART;PACKAGE;VERSION" "" ${ARGN})
    find_package(${name} ${_find_VERSION} QUIET)
    if(NOT ${name}_FOUND)
        scenecull_left_out(${_find_PART} "${_find_PACKAGE} is not installed")
    endif()
endmacro()
