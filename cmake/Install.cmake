# What a host gets: the shared library, the headers that it may include, the resources, a CMake package
# (HVKStatisticsKit) and a pkg-config file, and hvkstat. Nothing installed names the place where it was built or installed.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(HVK_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/HVKStatisticsKit)
set(HVK_INSTALL_PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/HVKStatisticsKit)
set(frameworks ${PROJECT_SOURCE_DIR}/Frameworks)

# Until 1.0 every minor version may change the interface.
set_target_properties(HVKStatistics PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
target_compile_features(HVKStatistics INTERFACE cxx_std_20)
# The headers say "HVKPlatform/Machine.h" among themselves and a host says <HVKStatisticsKit/HVKStatisticsKit.h>.
target_include_directories(HVKStatistics INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${HVK_INSTALL_HEADERS}>)

target_link_libraries(HVKStatistics INTERFACE $<INSTALL_INTERFACE:nlohmann_json::nlohmann_json>)

if(NOT APPLE)
    # Templates of other libraries that are instantiated here stay here.
    set(exports ${CMAKE_CURRENT_LIST_DIR}/exports.map)
    target_link_options(HVKStatistics PRIVATE "LINKER:--version-script=${exports}" LINKER:--no-undefined)
    set_target_properties(HVKStatistics PROPERTIES LINK_DEPENDS ${exports})
endif()

install(TARGETS HVKStatistics EXPORT HVKStatisticsKitTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET hvkstat)
    install(TARGETS hvkstat RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The umbrella, the rooms that are public as a whole, and of the platform what a host may ask. Adapters stay inside.
install(FILES ${frameworks}/HVKStatisticsKit.h DESTINATION ${HVK_INSTALL_HEADERS})
foreach(room HVKBase HVKLogger HVKLocalization HVKStatistics)
    if(IS_DIRECTORY ${frameworks}/${room})
        install(DIRECTORY ${frameworks}/${room} DESTINATION ${HVK_INSTALL_HEADERS} FILES_MATCHING PATTERN *.h)
    endif()
endforeach()
install(DIRECTORY ${frameworks}/HVKPlatform/ports DESTINATION ${HVK_INSTALL_HEADERS}/HVKPlatform FILES_MATCHING PATTERN *.h)
install(FILES
    ${frameworks}/HVKPlatform/LiveMachine.h ${frameworks}/HVKPlatform/Machine.h ${frameworks}/HVKPlatform/Result.h
    ${frameworks}/HVKPlatform/Value.h
    DESTINATION ${HVK_INSTALL_HEADERS}/HVKPlatform)
install(FILES ${frameworks}/HVKPlatform/support/Diagnostics.h DESTINATION ${HVK_INSTALL_HEADERS}/HVKPlatform/support)

# Recipes and string tables, found from the library's own place: not below a data directory that can be chosen.
install(DIRECTORY ${frameworks}/HVKStatistics/resources/ DESTINATION share/HVKStatisticsKit
    PATTERN recipes EXCLUDE)
install(DIRECTORY ${HVK_RESOURCES}/ DESTINATION share/HVKStatisticsKit
    FILES_MATCHING PATTERN *.recipe PATTERN *.lproj EXCLUDE)

install(EXPORT HVKStatisticsKitTargets NAMESPACE HVKStatisticsKit:: DESTINATION ${HVK_INSTALL_PACKAGE})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/HVKStatisticsKitConfig.cmake.in
    ${PROJECT_BINARY_DIR}/HVKStatisticsKitConfig.cmake INSTALL_DESTINATION ${HVK_INSTALL_PACKAGE})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/HVKStatisticsKitConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/HVKStatisticsKitConfig.cmake ${PROJECT_BINARY_DIR}/HVKStatisticsKitConfigVersion.cmake
    DESTINATION ${HVK_INSTALL_PACKAGE})

# From the place of the pkg-config file up to the prefix, so that the installed tree can be moved.
file(RELATIVE_PATH HVK_PKGCONFIG_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" HVK_PKGCONFIG_TO_PREFIX "${HVK_PKGCONFIG_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/HVKStatisticsKit.pc.in ${PROJECT_BINARY_DIR}/HVKStatisticsKit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/HVKStatisticsKit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
