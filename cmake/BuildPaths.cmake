# No path of the machine that builds gets into what is installed: neither by __FILE__ nor, in builds that
# are handed on, by debug information. (Daily builds keep theirs for the debugger.)
add_compile_options(
    "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/="
    "$<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>")

# brisko_runs_from_any_prefix(TARGET): its run path is the one between the installed folders, seen from the
# program, and nothing else. The build tree gets links to the libraries at that place: CMake would put an
# empty element, which is the current folder, into a run path that it had to change when it installs.
function(brisko_runs_from_any_prefix target)
    file(RELATIVE_PATH folder "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
    set_target_properties(${target} PROPERTIES
        BUILD_WITH_INSTALL_RPATH ON
        INSTALL_RPATH "$ORIGIN/${folder}")
    set(place "${CMAKE_CURRENT_BINARY_DIR}/${folder}")
    set(links COMMAND ${CMAKE_COMMAND} -E make_directory "${place}"
        COMMAND ${CMAKE_COMMAND} -E create_symlink "$<TARGET_FILE:brisko_codec>"
            "${place}/$<TARGET_SONAME_FILE_NAME:brisko_codec>")
    if(TARGET brisko_scan)
        list(APPEND links COMMAND ${CMAKE_COMMAND} -E create_symlink "$<TARGET_FILE:brisko_scan>"
            "${place}/$<TARGET_SONAME_FILE_NAME:brisko_scan>")
    endif()
    if(TARGET brisko_codec_fallback)
        list(APPEND links COMMAND ${CMAKE_COMMAND} -E create_symlink
            "$<TARGET_FILE:brisko_codec_fallback>"
            "${place}/$<TARGET_FILE_NAME:brisko_codec_fallback>")
    endif()
    add_custom_command(TARGET ${target} POST_BUILD ${links} VERBATIM)
endfunction()
