# What is installed where, and the Debian packages of it. The target `deb` builds the programs alone and makes
# sphost_VERSION_ARCH.deb, and beside it sphost-browser_VERSION_ARCH.deb and sphost-editor_VERSION_ARCH.deb where these
# are built.
include(GNUInstallDirs)

set(SP_PACKAGE_CONTACT "Tessmark Co Ltd. <sphost@tessmark.example>" CACHE STRING "Maintainer of the packages")

# sphost looks for what it loads and starts beside its own file, whatever link it was called by.
set(programs_dir ${CMAKE_INSTALL_LIBEXECDIR}/sphost)
set(packaged_targets sphost sharepoint_plugin spdevserver)
set(packages sphost)
install(TARGETS sphost RUNTIME DESTINATION ${programs_dir} COMPONENT sphost)
install(TARGETS sharepoint_plugin LIBRARY DESTINATION ${programs_dir} COMPONENT sphost)
install(DIRECTORY host/languages DESTINATION ${programs_dir} COMPONENT sphost)
install(TARGETS spdevserver RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sphost)
if(TARGET sphost-browser)
    list(APPEND packages sphost-browser)
    list(APPEND packaged_targets sphost-browser)
    install(TARGETS sphost-browser RUNTIME DESTINATION ${programs_dir} COMPONENT sphost-browser)
endif()
if(TARGET sphost-editor)
    list(APPEND packages sphost-editor)
    list(APPEND packaged_targets sphost-editor)
    install(TARGETS sphost-editor RUNTIME DESTINATION ${programs_dir} COMPONENT sphost-editor)
endif()

# install_link(NAME TARGET FOLDER [COMPONENT]): a symbolic link.
function(install_link name target folder)
    set(link ${CMAKE_BINARY_DIR}/packaging/links/${folder}/${name})
    get_filename_component(link_folder ${link} DIRECTORY)
    file(MAKE_DIRECTORY ${link_folder})
    file(CREATE_LINK ${target} ${link} SYMBOLIC)
    set(component sphost)
    if(ARGC GREATER 3)
        set(component ${ARGV3})
    endif()
    install(FILES ${link} DESTINATION ${folder} COMPONENT ${component})
endfunction()
install_link(sphost ../${programs_dir}/sphost ${CMAKE_INSTALL_BINDIR})
if(TARGET sphost-editor)
    install_link(sphost-editor ../${programs_dir}/sphost-editor ${CMAKE_INSTALL_BINDIR} sphost-editor)
endif()

# install_compressed(FILE NAME FOLDER COMPONENT): as NAME.gz, the same bytes for the same file.
function(install_compressed file name folder component)
    set(archive ${CMAKE_BINARY_DIR}/packaging/${component}/${name}.gz)
    execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${archive} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    install(FILES ${archive} DESTINATION ${folder} COMPONENT ${component})
endfunction()

string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/debian-changelog.in packaging/changelog @ONLY)
foreach(package IN LISTS packages)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging/${package})
    install(FILES packaging/copyright DESTINATION share/doc/${package} COMPONENT ${package})
    install_compressed(${CMAKE_BINARY_DIR}/packaging/changelog changelog share/doc/${package} ${package})
endforeach()
foreach(page sphost spdevserver)
    install_compressed(${CMAKE_SOURCE_DIR}/docs/man/${page}.1 ${page}.1 ${CMAKE_INSTALL_MANDIR}/man1 sphost)
endforeach()
if(TARGET sphost-editor)
    install_compressed(${CMAKE_SOURCE_DIR}/docs/man/sphost-editor.1 sphost-editor.1 ${CMAKE_INSTALL_MANDIR}/man1
        sphost-editor)
    install(FILES docs/editor.md DESTINATION share/doc/sphost-editor COMPONENT sphost-editor)
    install(FILES packaging/sphost-editor.desktop DESTINATION share/applications COMPONENT sphost-editor)
endif()
install(FILES packaging/completion.bash RENAME sphost DESTINATION share/bash-completion/completions COMPONENT sphost)
install_link(spdevserver sphost share/bash-completion/completions)
install(FILES README.md CHANGELOG.md docs/sphost.md docs/devserver.md DESTINATION share/doc/sphost COMPONENT sphost)
install(DIRECTORY samples/library DESTINATION share/doc/sphost/examples COMPONENT sphost)

# Help, manual pages and completion name the same commands and options.
add_test(NAME Packaging.HelpManualAndCompletionAgree
    COMMAND ${CMAKE_SOURCE_DIR}/packaging/check-manuals $<TARGET_FILE:sphost> $<TARGET_FILE:spdevserver>)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${SP_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${packages})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_SPHOST_PACKAGE_NAME sphost)
set(CPACK_DEBIAN_SPHOST_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SPHOST_PACKAGE_DEPENDS ca-certificates)
set(CPACK_DEBIAN_SPHOST_PACKAGE_RECOMMENDS gss-ntlmssp)
set(CPACK_DEBIAN_SPHOST_PACKAGE_SUGGESTS "sphost-browser, qpdf")
set(CPACK_COMPONENT_SPHOST_DESCRIPTION "work on documents of SharePoint sites from a terminal
sphost lists the libraries of a SharePoint site, copies documents out and in,
opens them in any editor and saves them back, and checks them out and in.

spdevserver is a small SharePoint site for development and tests.")
set(CPACK_DEBIAN_SPHOST-BROWSER_PACKAGE_NAME sphost-browser)
set(CPACK_DEBIAN_SPHOST-BROWSER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SPHOST-BROWSER_PACKAGE_DEPENDS "sphost (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_SPHOST-BROWSER_DESCRIPTION "browser window of sphost for sign-in pages
Sites that want their own sign-in page get it in this window.
sphost starts it when it is needed.")
set(CPACK_DEBIAN_SPHOST-EDITOR_PACKAGE_NAME sphost-editor)
set(CPACK_DEBIAN_SPHOST-EDITOR_PACKAGE_SECTION editors)
set(CPACK_DEBIAN_SPHOST-EDITOR_PACKAGE_DEPENDS "sphost (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_SPHOST-EDITOR_PACKAGE_RECOMMENDS sphost-browser)
set(CPACK_COMPONENT_SPHOST-EDITOR_DESCRIPTION "editor for PDF documents of SharePoint sites
sphost-editor shows and changes PDF documents of SharePoint sites and of this
computer, saves them back, and checks them out and in.")
include(CPack)

add_custom_target(deb
    COMMAND ${CMAKE_CPACK_COMMAND} --config ${CMAKE_BINARY_DIR}/CPackConfig.cmake
    DEPENDS ${packaged_targets}
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
    USES_TERMINAL
    VERBATIM)
