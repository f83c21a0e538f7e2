# What "cmake --install" puts where, and the two Debian packages that cpack makes of it (script/package tests them):
#   ct-synchronizer  (component "program")      the synchroniser, ct_account, their manual pages and the documents
#   liborin-dev      (component "development")  the libraries as archives, their headers, find_package(orin)
# The stand-ins, which are for trials and tests, are never installed.
if(CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
  # Debian's own folder, in a cross build too.
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(ORIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orin)

# ------------------------------------------------------------------------------------------------------- the programs

install(TARGETS ct_synchronizer ct_account RUNTIME COMPONENT program)

find_program(GZIP gzip REQUIRED)
foreach(program ct_synchronizer ct_account)
  set(page ${CMAKE_BINARY_DIR}/${program}.8.gz)
  add_custom_command(OUTPUT ${page} VERBATIM
    DEPENDS ${PROJECT_SOURCE_DIR}/packaging/${program}.8
    COMMAND sh -c "exec \"$1\" -9 -n -c <\"$2\" >\"$3\"" gzip
      ${GZIP} ${PROJECT_SOURCE_DIR}/packaging/${program}.8 ${page})
  list(APPEND manual_pages ${page})
endforeach()
add_custom_target(manual_pages ALL DEPENDS ${manual_pages})
install(FILES ${manual_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT program)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/ct-synchronizer COMPONENT program)
install(FILES docs/architecture.md docs/operations.md docs/performance.md
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/ct-synchronizer/docs COMPONENT program)

# ------------------------------------------------------------------------------------------------------ the libraries

# orin_library(name ROOMS room... HEADERS file... [LIBS target...])
# The rooms' objects as an archive liborin_<name>.a, which other projects link as orin::<name> with the libraries named
# here (as their own find_package knows them). Its headers are those that a user of the library needs, and what these
# include; each library has a folder of its own, so that one who links a library sees nothing from above it.
function(orin_library name)
  cmake_parse_arguments(LIBRARY "" "" "ROOMS;HEADERS;LIBS" ${ARGN})
  set(target orin_${name}_archive)
  set(folder ${CMAKE_INSTALL_INCLUDEDIR}/orin/${name})
  list(TRANSFORM LIBRARY_ROOMS REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  list(TRANSFORM LIBRARY_LIBS REPLACE "(.+)" "$<INSTALL_INTERFACE:\\1>" OUTPUT_VARIABLE libraries)
  add_library(${target} STATIC ${objects})
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME orin_${name} EXPORT_NAME ${name})
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${folder}>)
  target_compile_features(${target} INTERFACE cxx_std_20)
  target_link_libraries(${target} INTERFACE ${libraries})
  install(TARGETS ${target} EXPORT orin ARCHIVE COMPONENT development)
  foreach(header ${LIBRARY_HEADERS})
    # log/common/x.h is included as "common/x.h", all others by their bare names.
    string(REGEX MATCH "common/" below ${header})
    install(FILES ${header} DESTINATION ${folder}/${below} COMPONENT development)
  endforeach()
endfunction()

orin_library(log ROOMS orin_log
  HEADERS
    log/orinlog.h log/orinlog_backtrace.h log/orinlog_categories.h log/orinlog_level_user.h
    log/common/orinlog_message_common.h
  LIBS Threads::Threads)

orin_library(util ROOMS orin_util
  HEADERS
    util/orin_base64.h util/orin_datei_tools.h util/orin_hashchain.h util/orin_hashtable2.h util/orin_hashtable3.h
    util/orin_headerword.h util/orin_md5c.h util/orin_memory.h util/orin_phonenumber.h util/orin_proxysettings.h
    util/orin_sharedmem.h util/orin_stdio.h util/orin_stringbuffer.h util/orin_stringutils.h util/orin_systemcalls.h
    util/orin_tools.h util/orin_utf8.h util/orin_vector.h util/orin_wget.h
  LIBS orin::log CURL::libcurl OpenSSL::Crypto)

# Every table module is there for its users.
file(GLOB table_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS db/tables/*.h)
orin_library(db ROOMS orin_db orin_db_tables orin_db_xml orin_db_set
  HEADERS
    db/db_sqlitecursor.h db/db_sqlitewrapper.h db/orindb_access.h db/orindb_array.h db/orindb_codes.h
    db/orindb_dbaccess.h db/orindb_sqltext.h db/orindb_table.h db/orindb_version.h db/xml/orindb_xml.h ${table_headers}
  LIBS orin::util SQLite::SQLite3 EXPAT::EXPAT)

orin_library(google ROOMS orin_google
  HEADERS
    google/ct_google_web_ets_interface.h google/google_connector.h google/google_people_api.h google/json_loader.h
  LIBS orin::util CURL::libcurl json-c::json-c)

install(EXPORT orin NAMESPACE orin:: FILE orin-targets.cmake DESTINATION ${ORIN_CMAKE_DIR} COMPONENT development)
configure_package_config_file(packaging/orin-config.cmake.in ${CMAKE_BINARY_DIR}/orin-config.cmake
  INSTALL_DESTINATION ${ORIN_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orin-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orin-config.cmake ${CMAKE_BINARY_DIR}/orin-config-version.cmake
  DESTINATION ${ORIN_CMAKE_DIR} COMPONENT development)
install(FILES docs/architecture.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/liborin-dev COMPONENT development)

# ------------------------------------------------------------------------------------------------------- the packages

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "ct_synchronizer maintainers <root@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Each package has its own in the first line of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(debian_names_arm-linux-gnueabihf armhf)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${debian_names_${CMAKE_LIBRARY_ARCHITECTURE}})
endif()

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ct-synchronizer)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
# What the programs are linked to; cpack fails when dpkg-shlibdeps does not find it.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
# An older one has the functions that are called, but not all that is asked of them.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "libcurl4 (>= 7.85)")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS openssl)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "keeps a PBX contact group in step with a Google account
The synchroniser of a small-business telephone system: it brings the contacts
of a Google account, with their photos, into one contact group of the PBX's
phone book, and tells other processes of the PBX what has changed.

ct_account sets up, authorises, runs and shows the accounts where there is no
web configuration at hand.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborin-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
string(JOIN ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libcurl4-openssl-dev (>= 7.85)" libexpat1-dev libjson-c-dev libsqlite3-dev libssl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "PBX libraries: logging, support, databases, Google client
Archives, headers (C++20) and the CMake package \"orin\" of the libraries that
ct-synchronizer stands on: orin::log (levels and log devices), orin::util
(strings, containers, files, downloads, phone numbers), orin::db (the three
databases of the PBX) and orin::google (Google accounts and their contacts).")

include(CPack)
