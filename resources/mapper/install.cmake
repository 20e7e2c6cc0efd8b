# Installing the Mapper as a desktop service: the program beside the editor (with the name the
# editor's Start Mapper opens), the systemd user unit, the autostart entry, access to the receivers
# and to uinput for the user at the seat, and the manual page. Included from the top CMakeLists.txt.

# A folder relative to the prefix stays relative so that "cmake --install --prefix" moves it.
function(vqx_install_destination out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${CMAKE_INSTALL_PREFIX}/${dir}" PARENT_SCOPE)
  endif()
endfunction()

# The user unit folder: what systemd's pkg-config file gives, taken relative to systemd's prefix.
set(VQX_SYSTEMD_USER_UNIT_DIR "" CACHE STRING
  "Folder of the Mapper's systemd user unit, relative to the prefix or absolute (empty: from systemd.pc)")
set(VQX_UDEV_RULES_DIR "lib/udev/rules.d" CACHE STRING "Folder of the Mapper's udev rules")
set(VQX_MODULES_LOAD_DIR "lib/modules-load.d" CACHE STRING "Folder of the Mapper's modules-load.d file")
set(vqx_unit_dir "${VQX_SYSTEMD_USER_UNIT_DIR}")
if(NOT vqx_unit_dir)
  set(vqx_unit_dir "lib/systemd/user")
  pkg_get_variable(vqx_systemd_units systemd systemduserunitdir)
  pkg_get_variable(vqx_systemd_prefix systemd prefix)
  if(vqx_systemd_units AND vqx_systemd_prefix)
    string(LENGTH "${vqx_systemd_prefix}/" vqx_length)
    string(SUBSTRING "${vqx_systemd_units}" 0 ${vqx_length} vqx_start)
    if(vqx_start STREQUAL "${vqx_systemd_prefix}/")
      string(SUBSTRING "${vqx_systemd_units}" ${vqx_length} -1 vqx_unit_dir)
    endif()
  endif()
endif()
# Autostart entries are read from $XDG_CONFIG_DIRS/autostart: an installation into /usr puts its
# entry in /etc/xdg/autostart, as GNUInstallDirs places the configuration folder of /usr.
if(IS_ABSOLUTE "${CMAKE_INSTALL_SYSCONFDIR}" OR CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(vqx_autostart_dir "${CMAKE_INSTALL_FULL_SYSCONFDIR}/xdg/autostart")
else()
  set(vqx_autostart_dir "${CMAKE_INSTALL_SYSCONFDIR}/xdg/autostart")
endif()

install(TARGETS vqx-mapper RUNTIME DESTINATION ${VQX_INSTALL_APPDIR})
# The editor's Start Mapper opens this name in its own folder.
install(CODE "file(CREATE_LINK vqx-mapper
  \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${VQX_INSTALL_APPDIR}/VQXMapperApplication.app\" SYMBOLIC)")

# The unit and the autostart entry name the installed program by its full path, known only when
# installing (the prefix may be given then).
set(vqx_mapper_staging "${CMAKE_BINARY_DIR}/resources/mapper")
vqx_install_destination(vqx_unit_destination "${vqx_unit_dir}")
vqx_install_destination(vqx_autostart_destination "${vqx_autostart_dir}")
install(CODE "set(VQX_MAPPER_PATH \"\${CMAKE_INSTALL_PREFIX}/${VQX_INSTALL_APPDIR}/vqx-mapper\")
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/vqx-mapper.service.in\" \"${vqx_mapper_staging}/vqx-mapper.service\" @ONLY)
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/vqx-mapper.desktop.in\" \"${vqx_mapper_staging}/vqx-mapper.desktop\" @ONLY)
  file(INSTALL DESTINATION \"${vqx_unit_destination}\" TYPE FILE FILES \"${vqx_mapper_staging}/vqx-mapper.service\")
  file(INSTALL DESTINATION \"${vqx_autostart_destination}\" TYPE FILE FILES \"${vqx_mapper_staging}/vqx-mapper.desktop\")")

install(FILES "${CMAKE_CURRENT_LIST_DIR}/70-vqx-mapper.rules" DESTINATION ${VQX_UDEV_RULES_DIR})
install(FILES "${CMAKE_CURRENT_LIST_DIR}/modules-load.conf" DESTINATION ${VQX_MODULES_LOAD_DIR}
  RENAME vqx-mapper.conf)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/vqx-mapper.1" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
