# What `cmake --install` lays out for those who write hosts and implementations, wherever the prefix is moved later:
#   bin/      the plugin, the stand-ins, the tools
#   include/  zuvia/, hxbase/, hxutility/
#   lib/      import libraries of the stand-ins; cmake/zuvia/, the CMake package
#   share/    zuvia/sample/ and zuvia/host/, an implementation and a host to start from; doc/zuvia/
include(CMakePackageConfigHelpers)

set(package lib/cmake/zuvia)
set(here "${CMAKE_CURRENT_LIST_DIR}")

install(TARGETS zuvia_interfaces zuviaplugin hxbase hxutility zuhost zupack zuserve EXPORT zuviaTargets
  RUNTIME DESTINATION bin LIBRARY DESTINATION bin ARCHIVE DESTINATION lib)
install(EXPORT zuviaTargets NAMESPACE zuvia:: DESTINATION ${package})
set_target_properties(zuvia_interfaces PROPERTIES EXPORT_NAME interfaces)
set_target_properties(zuviaplugin PROPERTIES EXPORT_NAME plugin)

install(DIRECTORY include/zuvia host/hxbase/include/hxbase host/hxutility/include/hxutility
  DESTINATION include FILES_MATCHING PATTERN "*.h")

if(MSVC)
  set(zuviaFamily MSVC)
else()
  set(zuviaFamily MINGW)
  install(FILES "${here}/mingw-w64-compilers.cmake" DESTINATION ${package})
  install(FILES "${here}/mingw-w64-installed.cmake" DESTINATION ${package} RENAME mingw-w64.cmake)
endif()
configure_package_config_file("${here}/zuviaConfig.cmake.in" zuviaConfig.cmake
  INSTALL_DESTINATION ${package} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(zuviaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/zuviaConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/zuviaConfigVersion.cmake"
  "${here}/zuvia_add_implementation.cmake" "${here}/implementation_module.cmake" "${here}/createImpl.def"
  "${here}/version_resource.cmake" "${here}/version.rc.in"
  DESTINATION ${package})

install(DIRECTORY sample/implementation/ DESTINATION share/zuvia/sample)
install(DIRECTORY sample/host/ DESTINATION share/zuvia/host)
install(FILES docs/integrating-a-host.md docs/implementation-modules.md docs/publishing-updates.md docs/operating.md
  docs/building-on-windows.md docs/messages.md docs/reliability.md docs/security.md
  docs/zuhost.md docs/zupack.md docs/zuserve.md docs/zuserve-page.png THIRD_PARTY_NOTICES.md DESTINATION share/doc/zuvia)
