# OpenCV's core and imgcodecs alone, found by their files: the lean development packages of a
# distribution carry no CMake configuration. Defines the target OpenCVCodecs::imgcodecs.
find_path(OpenCVCodecs_INCLUDE_DIR opencv2/imgcodecs.hpp PATH_SUFFIXES opencv4)
find_library(OpenCVCodecs_CORE_LIBRARY opencv_core)
find_library(OpenCVCodecs_IMGCODECS_LIBRARY opencv_imgcodecs)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVCodecs REQUIRED_VARS
    OpenCVCodecs_IMGCODECS_LIBRARY OpenCVCodecs_CORE_LIBRARY OpenCVCodecs_INCLUDE_DIR)
mark_as_advanced(OpenCVCodecs_INCLUDE_DIR OpenCVCodecs_CORE_LIBRARY OpenCVCodecs_IMGCODECS_LIBRARY)

if(OpenCVCodecs_FOUND AND NOT TARGET OpenCVCodecs::imgcodecs)
    add_library(OpenCVCodecs::imgcodecs UNKNOWN IMPORTED)
    set_target_properties(OpenCVCodecs::imgcodecs PROPERTIES
        IMPORTED_LOCATION "${OpenCVCodecs_IMGCODECS_LIBRARY}"
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${OpenCVCodecs_INCLUDE_DIR}"
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCVCodecs_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES "${OpenCVCodecs_CORE_LIBRARY}")
endif()
