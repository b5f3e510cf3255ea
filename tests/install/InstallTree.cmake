# Installs the build tree BUILD_DIR into a fresh PREFIX.
file(REMOVE_RECURSE ${PREFIX})
execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  COMMAND_ERROR_IS_FATAL ANY)
