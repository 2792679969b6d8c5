include(CMakePackageConfigHelpers)

install(TARGETS brisko_codec EXPORT brisko_codec_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/brisko_codec"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT brisko_codec_targets
    NAMESPACE brisko_codec::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/brisko_codec)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/brisko_codec-config.cmake.in"
    "${PROJECT_BINARY_DIR}/brisko_codec-config.cmake"
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/brisko_codec)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/brisko_codec-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/brisko_codec-config.cmake"
    "${PROJECT_BINARY_DIR}/brisko_codec-config-version.cmake"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/brisko_codec)

configure_file("${PROJECT_SOURCE_DIR}/cmake/brisko_codec.pc.in"
    "${PROJECT_BINARY_DIR}/brisko_codec.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/brisko_codec.pc"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(BRISKO_BUILD_TOOL)
    install(TARGETS brisko RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
