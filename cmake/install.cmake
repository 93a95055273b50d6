# What an installed tree has: the two libraries, the programs, and what somebody needs to host the engine. It may be
# moved as a whole: every path in it is told from where it stands.
include(CMakePackageConfigHelpers)

set(public_platform_headers
    platform/api/apply_patch.h platform/api/bundle_info.h platform/api/bundle_mgr.h platform/api/common_event.h
    platform/api/core_engine_callback.h platform/api/device_port.h platform/api/kalog.h
    platform/api/os_account_manager.h platform/api/ref_base.h platform/api/remote_object.h
    platform/api/status_receiver.h platform/api/system_ability_manager.h
    platform/utility/sys_utils.h) # a host tells the stage before it makes the engine
set(public_engine_headers engine/engine_factory.h engine/i_engine_app.h package/patch_status_code.h)

foreach(library platform engine_app)
    set_target_properties(tavomend_${library} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${library})
    target_compile_features(tavomend_${library} INTERFACE cxx_std_17)
endforeach()
target_sources(tavomend_platform PUBLIC
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${public_platform_headers})
target_sources(tavomend_engine_app PUBLIC
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${public_engine_headers})

file(RELATIVE_PATH libraries_from_programs /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(tavomend PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
set_target_properties(tavomend_engine_app PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS tavomend tvpk)
install(TARGETS tavomend_platform tavomend_engine_app EXPORT tavomend
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavomend)

set(cmake_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tavomend)
install(EXPORT tavomend NAMESPACE tavomend:: FILE tavomendTargets.cmake DESTINATION ${cmake_package_dir})
configure_package_config_file(cmake/tavomendConfig.cmake.in tavomendConfig.cmake INSTALL_DESTINATION ${cmake_package_dir})
write_basic_package_version_file(tavomendConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tavomendConfig.cmake ${PROJECT_BINARY_DIR}/tavomendConfigVersion.cmake
    DESTINATION ${cmake_package_dir})

file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
configure_file(cmake/tavomend.pc.in tavomend.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tavomend.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
