# encmgr_add_plugin(NAME sources...): one plug-in of EncMgr, the file NAME.dylib, where NAME begins with "wp". It gets what
# a plug-in has to have: its name and suffix, which are the same on every platform; no export but those that hosts look
# for; and an error of the linker for what is defined nowhere, which would end a host in the middle of a job. It may
# call the log (EncMgr::Log).
#
# It is put into a folder PlugIns where programs are: in CMAKE_RUNTIME_OUTPUT_DIRECTORY if that is set, else at the top
# of the build; below that in the folder of the configuration where there are several.
function(encmgr_add_plugin name)
    if(NOT name MATCHES "^wp")
        message(FATAL_ERROR "encmgr_add_plugin: the name of a plug-in begins with \"wp\", unlike \"${name}\"")
    endif()
    set(folder ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    if(NOT folder)
        set(folder ${CMAKE_BINARY_DIR})
    endif()
    get_property(has_configurations GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
    if(has_configurations)
        string(APPEND folder "/$<CONFIG>")
    endif()

    add_library(${name} MODULE ${ARGN})
    set_target_properties(${name} PROPERTIES
        PREFIX ""
        SUFFIX ".dylib"
        LIBRARY_OUTPUT_DIRECTORY "${folder}/PlugIns"
        POSITION_INDEPENDENT_CODE ON
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${name} PRIVATE EncMgr::Headers EncMgr::Log)
    target_compile_definitions(${name} PRIVATE _FILE_OFFSET_BITS=64) # files over 2 GiB on 32-bit targets too
    if(NOT APPLE)
        set(map ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/plugin.map) # whoever calls it
        target_link_options(${name} PRIVATE "LINKER:--version-script=${map}")
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${map})
        if(NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize") # its run-time is resolved in the program
            target_link_options(${name} PRIVATE "LINKER:-z,defs")
        endif()
    endif()
endfunction()
