include_guard(GLOBAL)

# The Node-API headers, from the npm packages node-api-headers and node-addon-api. The functions themselves
# are found in the running Node.js at load time, so there is nothing to link.
foreach(package node-api-headers node-addon-api)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/node_modules/${package}/package.json)
    message(FATAL_ERROR "npm package ${package} is missing: run npm ci")
  endif()
endforeach()

add_library(node_api INTERFACE)
target_include_directories(node_api SYSTEM INTERFACE
  ${PROJECT_SOURCE_DIR}/node_modules/node-api-headers/include
  ${PROJECT_SOURCE_DIR}/node_modules/node-addon-api)
target_compile_definitions(node_api INTERFACE
  NAPI_VERSION=8
  # An exception of any kind that leaves a native function becomes a script Error.
  NODE_ADDON_API_CPP_EXCEPTIONS_ALL
  # An exception that cannot be thrown because the environment is ending must not end the process.
  NODE_API_SWALLOW_UNTHROWABLE_EXCEPTIONS)

if(WIN32)
  # The functions are looked up in the program at their first use, see host_binding.cpp.
  set(node_functions ${PROJECT_BINARY_DIR}/libnode_functions.a)
  execute_process(
    COMMAND ${CMAKE_DLLTOOL} -d ${PROJECT_SOURCE_DIR}/node_modules/node-api-headers/def/node_api.def
      -D node.exe -y ${node_functions}
    COMMAND_ERROR_IS_FATAL ANY)
  target_sources(node_api INTERFACE ${PROJECT_SOURCE_DIR}/src/loader/win32/host_binding.cpp)
  target_link_libraries(node_api INTERFACE ${node_functions} delayimp)
endif()
