include(CMakePackageConfigHelpers)

# brisko_install(TARGET DESCRIPTION [REQUIRED_LIBRARY]): a library with its headers, found by CMake and by
# pkg-config under its own name. What programs need at run time is the component TARGET, what hosts need to be
# built TARGET_dev.
function(brisko_install target description)
    set(requires "${ARGN}")
    set(find_required "")
    if(requires)
        set(find_required "include(CMakeFindDependencyMacro)\nfind_dependency(${requires} ${PROJECT_VERSION})\n")
    endif()
    set(package "${CMAKE_INSTALL_LIBDIR}/cmake/${target}")
    install(TARGETS ${target} EXPORT ${target}_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT ${target} NAMELINK_COMPONENT ${target}_dev)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/${target}"
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${target}_dev)
    install(EXPORT ${target}_targets NAMESPACE ${target}:: DESTINATION "${package}"
        COMPONENT ${target}_dev)
    configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/library-config.cmake.in"
        "${PROJECT_BINARY_DIR}/${target}-config.cmake" INSTALL_DESTINATION "${package}")
    write_basic_package_version_file("${PROJECT_BINARY_DIR}/${target}-config-version.cmake"
        COMPATIBILITY SameMajorVersion)
    install(FILES "${PROJECT_BINARY_DIR}/${target}-config.cmake"
        "${PROJECT_BINARY_DIR}/${target}-config-version.cmake"
        DESTINATION "${package}" COMPONENT ${target}_dev)
    file(RELATIVE_PATH up_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/library.pc.in"
        "${PROJECT_BINARY_DIR}/${target}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${target}.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${target}_dev)
endfunction()

brisko_install(brisko_codec "Reads and writes the point-cloud files of terrestrial laser scanners")
if(TARGET brisko_scan)
    brisko_install(brisko_scan "Any scan in, any scan out, and whole jobs over them" brisko_codec)
endif()
if(BRISKO_BUILD_TOOL)
    install(TARGETS brisko RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT brisko)
endif()
