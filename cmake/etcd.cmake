# The engine for databases in etcd: a module that the library loads when a settings file asks for
# it, so that the library itself needs no libcurl.
if(NCCNET_BUILD_ETCD)
    pkg_check_modules(CURL IMPORTED_TARGET libcurl>=7.88)
    if(NOT CURL_FOUND)
        message(WARNING "without libcurl4-openssl-dev databases in etcd cannot be opened")
    endif()
endif()

if(NCCNET_BUILD_ETCD AND CURL_FOUND)
    set(NCCNET_ETCD_SOURCES
        platform/cluster/answer.cpp
        platform/cluster/base64.cpp
        platform/cluster/client.cpp
        platform/cluster/commit_writer.cpp
        platform/cluster/etcd_engine.cpp
        platform/cluster/etcd_history.cpp
        platform/cluster/etcd_settings.cpp
        platform/cluster/folding.cpp
        platform/cluster/health.cpp
        platform/cluster/http.cpp
        platform/cluster/layout.cpp
        platform/cluster/lease.cpp
        platform/cluster/ownership.cpp
        platform/cluster/presence.cpp
        platform/cluster/process_text.cpp
        platform/cluster/reader.cpp
        platform/cluster/records.cpp
        platform/cluster/request.cpp
        platform/cluster/watch.cpp)
    add_library(nccnet_etcd_objects OBJECT ${NCCNET_ETCD_SOURCES})
    target_include_directories(nccnet_etcd_objects PUBLIC ${PROJECT_SOURCE_DIR}
                                                          ${PROJECT_SOURCE_DIR}/include)
    set_target_properties(nccnet_etcd_objects PROPERTIES CXX_VISIBILITY_PRESET hidden
                                                         VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(nccnet_etcd_objects PUBLIC PkgConfig::CURL PRIVATE nccnet_warnings)

    # What it shares with the library, which hides it, is in both.
    add_library(nccnet_etcd MODULE $<TARGET_OBJECTS:nccnet_etcd_objects>
        platform/cluster/module.cpp
        platform/compression.cpp
        platform/crc32c.cpp
        platform/process.cpp
        platform/storage/engine.cpp
        platform/storage/row_sum.cpp
        platform/storage/settings_file.cpp
        platform/text/bytes.cpp
        platform/token.cpp)
    target_include_directories(nccnet_etcd PRIVATE ${PROJECT_SOURCE_DIR}
                                                   ${PROJECT_SOURCE_DIR}/include)
    target_compile_definitions(nccnet_etcd PRIVATE NCCNET_VERSION="${PROJECT_VERSION}")
    set_target_properties(nccnet_etcd PROPERTIES CXX_VISIBILITY_PRESET hidden
                                                 VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(nccnet_etcd PRIVATE PkgConfig::CURL PkgConfig::ZSTD Threads::Threads
                                              nccnet_warnings)
    install(TARGETS nccnet_etcd LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
