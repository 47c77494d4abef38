# The installed package: CMake's find_package(TQFoundation), and pkg-config.
include(CMakePackageConfigHelpers)

set(TQ_INSTALLED TQFoundation TQFoundationTesting)
if(TQ_BUILD_PHOTO_LIBRARY)
  list(APPEND TQ_INSTALLED TQDirectoryPhotoLibrary)
endif()
get_target_property(tq_type TQFoundation TYPE)
set(TQ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TQFoundation)

install(TARGETS ${TQ_INSTALLED} EXPORT TQFoundationTargets
        RUNTIME COMPONENT runtime
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT devel
        ARCHIVE COMPONENT devel
        FILE_SET HEADERS COMPONENT devel)
install(EXPORT TQFoundationTargets NAMESPACE TQFoundation:: DESTINATION ${TQ_CMAKE_DIR} COMPONENT devel)
configure_package_config_file(cmake/TQFoundationConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/TQFoundationConfig.cmake
                              INSTALL_DESTINATION ${TQ_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/TQFoundationConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TQFoundationConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/TQFoundationConfigVersion.cmake
        DESTINATION ${TQ_CMAKE_DIR} COMPONENT devel)

# A static library's users link what it needs themselves, a shared one's do not.
if(tq_type STREQUAL "STATIC_LIBRARY")
  list(JOIN TQ_ADAPTER_PKGCONFIG ", " TQ_PC_REQUIRES)
  string(APPEND TQ_PC_REQUIRES ", icu-i18n, icu-uc")
  set(TQ_PC_LIBRARIES "-lboost_url -pthread")
  set(TQ_PC_PHOTO_REQUIRES ", libavformat, libavcodec, libavutil")
endif()
set(tq_pc_files TQFoundation.pc)
if(TQ_BUILD_PHOTO_LIBRARY)
  list(APPEND tq_pc_files TQFoundationDirectoryPhotoLibrary.pc)
endif()
foreach(file IN LISTS tq_pc_files)
  configure_file(cmake/${file}.in ${CMAKE_CURRENT_BINARY_DIR}/${file} @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
endforeach()
