# What speaks to etcd, apart from the library, which needs no libcurl so.
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
        platform/cluster/etcd_history.cpp
        platform/cluster/etcd_settings.cpp
        platform/cluster/http.cpp
        platform/cluster/layout.cpp
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
endif()
