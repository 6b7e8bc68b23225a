# Finds libav's libraries, from release 5.1 on, by pkg-config and makes Libav::<name> for each component asked for, as in
#   find_package(Libav COMPONENTS avcodec avformat avutil)
# Of OPTIONAL_COMPONENTS those that are there get a target.
# A build for the other word size than the installed libraries' finds nothing.
find_package(PkgConfig QUIET)
set(Libav_FOUND ${PKG_CONFIG_FOUND})
set(Libav_minimum_avutil ">=57.28") # the libraries of a release come together, so one of them tells its age
foreach(component IN LISTS Libav_FIND_COMPONENTS)
    if(PKG_CONFIG_FOUND AND NOT TARGET PkgConfig::Libav_${component})
        pkg_check_modules(Libav_${component} QUIET IMPORTED_TARGET lib${component}${Libav_minimum_${component}})
    endif()
    if(TARGET PkgConfig::Libav_${component})
        if(NOT TARGET Libav::${component})
            add_library(Libav::${component} ALIAS PkgConfig::Libav_${component})
        endif()
    elseif(Libav_FIND_REQUIRED_${component})
        set(Libav_FOUND FALSE)
    endif()
endforeach()
if(Libav_FOUND AND TARGET PkgConfig::Libav_avutil)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES PkgConfig::Libav_avutil) # an alias doesn't reach the check's own project
    check_cxx_source_compiles(
        "#include <cstdint>\nextern \"C\" {\n#include <libavutil/avutil.h>\n}\nint main() { return avutil_version() == 0; }"
        ENCMGR_LIBAV_LINKS)
    unset(CMAKE_REQUIRED_LIBRARIES)
    set(Libav_FOUND ${ENCMGR_LIBAV_LINKS})
endif()
