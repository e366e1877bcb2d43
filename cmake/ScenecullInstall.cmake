# Package files for those who use an installed scenecull: find_package(scenecull CONFIG) and
# pkg-config. The targets and headers are installed where the libraries are defined.
include(CMakePackageConfigHelpers)

set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/scenecull")

install(EXPORT scenecullTargets NAMESPACE scenecull:: DESTINATION "${config_dir}")
configure_package_config_file(cmake/scenecullConfig.cmake.in
    "${PROJECT_BINARY_DIR}/scenecullConfig.cmake"
    INSTALL_DESTINATION "${config_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/scenecullConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/scenecullConfig.cmake"
    "${PROJECT_BINARY_DIR}/scenecullConfigVersion.cmake"
    DESTINATION "${config_dir}")

# ---- pkg-config ----------------------------------------------------------------------------------

# Paths are written relative to the .pc file, so that an installed tree may be moved.
set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH up "/prefix/${pc_dir}" "/prefix")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(dir IN ITEMS LIB INCLUDE)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}DIR}")
        set(pc_${dir}dir "${CMAKE_INSTALL_${dir}DIR}")
    else()
        set(pc_${dir}dir "\${prefix}/${CMAKE_INSTALL_${dir}DIR}")
    endif()
endforeach()

function(scenecull_install_pkgconfig name macro description requires)
    set(pc_name "${name}")
    set(pc_description "${description}")
    set(pc_requires "${requires}")
    set(pc_cflags "-ffp-contract=off")
    if(NOT BUILD_SHARED_LIBS)
        string(APPEND pc_cflags " -D${macro}_STATIC")
    endif()
    configure_file(cmake/scenecull.pc.in "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${pc_dir}")
endfunction()

scenecull_install_pkgconfig(scenecull-util TQU "Memory, clocks, locks and errors of scenecull" "")
scenecull_install_pkgconfig(scenecull-geometry TQL
    "Boxes, planes, matrices and frustums of scenecull" "scenecull-util")
scenecull_install_pkgconfig(scenecull TQOC "${PROJECT_DESCRIPTION}" "scenecull-geometry")
