# Run while a component is installed: the service and the data store's manifest, with the paths of this prefix.

if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(etc /etc)
else()
    set(etc "${CMAKE_INSTALL_PREFIX}/etc")
endif()

if(zel_component STREQUAL "tools")
    set(ZEL_BINDIR "${CMAKE_INSTALL_PREFIX}/${zel_bin}")
    set(ZEL_ENVIRONMENT_FILE "${etc}/default/zel-server")
    set(ZEL_OPTIONS_FILE "${etc}/zel-processor/zel-server.conf")
    set(systemd "${zel_source}/packaging/systemd")
    configure_file("${systemd}/zel-server.service.in" "${zel_binary}/zel-server.service" @ONLY)
    file(INSTALL "${zel_binary}/zel-server.service" DESTINATION "${CMAKE_INSTALL_PREFIX}/lib/systemd/system")
    file(INSTALL "${systemd}/zel-processor.sysusers.conf" DESTINATION "${CMAKE_INSTALL_PREFIX}/lib/sysusers.d"
        RENAME zel-processor.conf)
    file(INSTALL "${systemd}/zel-processor.tmpfiles.conf" DESTINATION "${CMAKE_INSTALL_PREFIX}/lib/tmpfiles.d"
        RENAME zel-processor.conf)
    file(INSTALL "${systemd}/zel-server.default" DESTINATION "${etc}/default" RENAME zel-server)
    file(INSTALL "${systemd}/zel-server.conf" DESTINATION "${etc}/zel-processor")
endif()

# The folder that every server looks into belongs to the system: only what is installed for the system writes there.
# The manifest beside the module serves the server that was installed with it; a class that both name is one.
if(zel_component STREQUAL "plugin-datastore" AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(READ "${zel_manifest}" manifest)
    string(REGEX REPLACE "<module>([^<]*)</module>"
        "<module>${CMAKE_INSTALL_PREFIX}/${zel_plugin_folder}/\\1</module>" manifest "${manifest}")
    file(WRITE "${zel_binary}/zel_datastore.component" "${manifest}")
    file(INSTALL "${zel_binary}/zel_datastore.component" DESTINATION "${etc}/zel-processor/components")
endif()
