include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/MediaRecordingService)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/MediaRecordingService)

set(installed MediaRecordingService platform)
if(MRS_ON_WORKSTATION)
    install(TARGETS deskphone deskphone_module
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    if(TARGET deskphone_orders)
        install(TARGETS orders deskphone_orders LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/orders)
    endif()
    list(APPEND installed runtime)
    install(DIRECTORY platform/ DESTINATION ${header_dir}/platform)
    install(DIRECTORY runtime/ DESTINATION ${header_dir}/runtime FILES_MATCHING PATTERN "*.h" PATTERN orders EXCLUDE)
endif()

install(TARGETS ${installed} EXPORT MediaRecordingServiceTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${header_dir})
install(EXPORT MediaRecordingServiceTargets NAMESPACE MediaRecordingService:: DESTINATION ${package_dir})

configure_package_config_file(cmake/MediaRecordingServiceConfig.cmake.in
    ${PROJECT_BINARY_DIR}/MediaRecordingServiceConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MediaRecordingServiceConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/MediaRecordingServiceConfig.cmake
    ${PROJECT_BINARY_DIR}/MediaRecordingServiceConfigVersion.cmake
    DESTINATION ${package_dir})
