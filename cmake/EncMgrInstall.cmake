# What is installed where, and packages of it. The program and its plug-ins lie in a folder of their own, as a host has to
# have them, and the log library beside them, which is nobody else's:
#
#   lib/libEncMgr.so*, libencmgr_toolbox.so*   lib/cmake/EncMgr/, lib/pkgconfig/encmgr.pc   include/encmgr/
#   lib/encmgr/encmgr, libLog.so, PlugIns/     bin/encmgr, which leads there                share/
if(NOT CMAKE_INSTALL_DOCDIR) # as Debian's packages have it
    set(CMAKE_INSTALL_DOCDIR share/doc/encmgr CACHE PATH "Documents" FORCE)
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(app_dir ${CMAKE_INSTALL_LIBDIR}/encmgr)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/EncMgr)

set_target_properties(EncMgr EncMgrToolbox PROPERTIES INSTALL_RPATH "$ORIGIN;$ORIGIN/encmgr")
install(TARGETS EncMgr EncMgrToolbox EncMgrHeaders EXPORT EncMgrTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS EncMgrLog EXPORT EncMgrTargets LIBRARY DESTINATION ${app_dir})

install(DIRECTORY include/encmgr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(header Common/Audio/AudioConverter.h Common/Image/ImageConvert.h Common/Image/ImageParam.h
        Common/Image/ImageResize.h text/FourCC.h text/Utf.h)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/encmgr/${folder})
endforeach()

# Targets for others: as installed, and as they are in the build tree.
set(ENCMGR_APP_DIR ${app_dir})
configure_package_config_file(cmake/EncMgrConfig.cmake.in ${PROJECT_BINARY_DIR}/installed/EncMgrConfig.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS ENCMGR_APP_DIR)
set(ENCMGR_APP_DIR ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
configure_package_config_file(cmake/EncMgrConfig.cmake.in ${PROJECT_BINARY_DIR}/EncMgrConfig.cmake
    INSTALL_DESTINATION ${PROJECT_BINARY_DIR} INSTALL_PREFIX ${PROJECT_BINARY_DIR} PATH_VARS ENCMGR_APP_DIR)
write_basic_package_version_file(EncMgrConfigVersion.cmake COMPATIBILITY SameMinorVersion)
foreach(file EncMgrPlugin.cmake plugin.map)
    configure_file(cmake/${file} ${PROJECT_BINARY_DIR}/${file} COPYONLY)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/installed/EncMgrConfig.cmake ${PROJECT_BINARY_DIR}/EncMgrConfigVersion.cmake
    cmake/EncMgrPlugin.cmake cmake/plugin.map DESTINATION ${package_dir})
install(EXPORT EncMgrTargets NAMESPACE EncMgr:: DESTINATION ${package_dir})
export(EXPORT EncMgrTargets NAMESPACE EncMgr:: FILE EncMgrTargets.cmake)
file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(dir LIBDIR INCLUDEDIR DATADIR)
    file(RELATIVE_PATH ${dir}_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_${dir}})
endforeach()
configure_file(cmake/encmgr.pc.in encmgr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/encmgr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The template is there to be copied, not to be used.
foreach(plugin wpraw wpav)
    if(TARGET ${plugin})
        set_target_properties(${plugin} PROPERTIES INSTALL_RPATH "$ORIGIN/..")
        install(TARGETS ${plugin} LIBRARY DESTINATION ${app_dir}/PlugIns)
    endif()
endforeach()
install(DIRECTORY plugins/template DESTINATION ${CMAKE_INSTALL_DATADIR}/encmgr)

if(TARGET encmgr)
    set_target_properties(encmgr PROPERTIES INSTALL_RPATH "$ORIGIN;$ORIGIN/..")
    install(TARGETS encmgr RUNTIME DESTINATION ${app_dir})
    file(RELATIVE_PATH target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/encmgr/encmgr)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/installed)
    file(CREATE_LINK ${target} ${PROJECT_BINARY_DIR}/installed/encmgr SYMBOLIC)
    install(FILES ${PROJECT_BINARY_DIR}/installed/encmgr DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY ${PROJECT_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATADIR} PATTERN stamp EXCLUDE)
endif()
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})

# cpack makes a Debian package and a tarball.
set(CPACK_PACKAGE_NAME encmgr)
set(CPACK_PACKAGE_VENDOR "EncMgr")
set(CPACK_PACKAGE_CONTACT "The developers of EncMgr")
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/bin)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
