# Fills PREFIX anew with what BUILD_DIR installs. Where LINKAGE (shared or static) is given,
# BUILD_DIR is first made from SOURCE_DIR, the libraries alone.

cmake_minimum_required(VERSION 3.21)

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${result}")
    endif()
endfunction()

if(DEFINED LINKAGE)
    set(shared OFF)
    if(LINKAGE STREQUAL "shared")
        set(shared ON)
    endif()
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BUILD_DIR} -G ${GENERATOR}
        -D CMAKE_CXX_COMPILER=${CXX_COMPILER} -D CMAKE_BUILD_TYPE=${CONFIG}
        -D BUILD_SHARED_LIBS=${shared} -D SCENECULL_INSTALL=ON
        -D SCENECULL_BUILD_TESTS=OFF -D SCENECULL_BUILD_BENCHMARKS=OFF
        -D SCENECULL_BUILD_EXAMPLES=OFF -D SCENECULL_BUILD_APPS=OFF)
    run(${CMAKE_COMMAND} --build ${BUILD_DIR} --config ${CONFIG})
endif()

file(REMOVE_RECURSE "${PREFIX}")
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} --config ${CONFIG})

# What is internal stays at home.
file(GLOB_RECURSE internal "${PREFIX}/include/*internal*")
if(internal)
    message(FATAL_ERROR "internal headers were installed: ${internal}")
endif()
foreach(area IN ITEMS util geometry scenecull)
    file(GLOB headers "${PREFIX}/include/scenecull/${area}/*.h")
    if(NOT headers)
        message(FATAL_ERROR "no headers of ${area} were installed")
    endif()
endforeach()
