# Installs the build into a scratch prefix, then builds and runs a C consumer against it twice:
# through find_package(ozmu) and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}\n${out}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${CC} -DCMAKE_BUILD_RPATH=${prefix}/lib)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
file(GLOB_RECURSE consumer ${WORK_DIR}/build/consumer)
run(${consumer})

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(GLOB_RECURSE pc_file ${prefix}/ozmu.pc)
  get_filename_component(pc_dir ${pc_file} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_dir})
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ozmu OUTPUT_VARIABLE flags
                  OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not find ozmu")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  get_filename_component(libdir ${pc_dir} DIRECTORY)
  run(${CC} -std=c99 ${CONSUMER_SOURCE}/main.c ${flags} -Wl,-rpath,${libdir}
      -o ${WORK_DIR}/consumer-pc)
  run(${WORK_DIR}/consumer-pc)
endif()
