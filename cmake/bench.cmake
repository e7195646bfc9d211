# SPDX-License-Identifier: BSD-2-Clause
# Benchmarks: see docs/performance.md. Off by default, they are no part of a test run. AUTO builds those that
# need nothing, and the others where Google Benchmark and libyuv are found.
quorvel_choice(QUORVEL_BENCH OFF "Build the benchmarks (Google Benchmark, libyuv)")
if(QUORVEL_BENCH)
  find_package(Threads REQUIRED)
  add_library(quorvel_bench_support OBJECT bench/clip.cpp bench/stages.cpp)
  target_include_directories(quorvel_bench_support PUBLIC bench src)
  target_compile_definitions(quorvel_bench_support PUBLIC
    "QUORVEL_BENCH_COMPILER=\"${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}\"")
  target_link_libraries(quorvel_bench_support PUBLIC quorvel_static quorvel_scene quorvel_flags)

  function(quorvel_bench_program name)
    string(REPLACE "-" "_" target quorvel_${name})
    add_executable(${target} ${ARGN})
    set_target_properties(${target} PROPERTIES OUTPUT_NAME quorvel-${name})
    target_link_libraries(${target} PRIVATE quorvel_bench_support)
  endfunction()

  quorvel_bench_program(bench-worst bench/worst_frame.cpp)
  quorvel_bench_program(bench-load bench/load.cpp)
  quorvel_bench_program(bench-instructions bench/instructions.cpp)
  quorvel_bench_program(bench-memory bench/memory.cpp)
  target_link_options(quorvel_bench_memory PRIVATE
    -Wl,--wrap=malloc -Wl,--wrap=free -Wl,--wrap=pthread_create)
  target_link_libraries(quorvel_bench_memory PRIVATE ${CMAKE_DL_LIBS})
  set_target_properties(quorvel_bench_memory PROPERTIES ENABLE_EXPORTS ON) # names its functions at run time

  find_path(QUORVEL_YUV_INCLUDE libyuv/scale_uv.h)
  find_library(QUORVEL_YUV_LIBRARY yuv)
  find_package(benchmark QUIET)
  set(found OFF)
  if(QUORVEL_YUV_INCLUDE AND QUORVEL_YUV_LIBRARY AND benchmark_FOUND)
    set(found ON)
  endif()
  quorvel_part(BENCH "Main benchmarks" ${found} "Google Benchmark or libyuv" "libbenchmark-dev libyuv-dev")
  if(QUORVEL_HAS_BENCH)
    quorvel_bench_program(bench-ratios bench/ratios.cpp)
    quorvel_bench_program(bench
      bench/floors.cpp bench/frames.cpp bench/kernels.cpp bench/main.cpp bench/stage_bench.cpp)
    foreach(target quorvel_bench_ratios quorvel_bench)
      target_include_directories(${target} SYSTEM PRIVATE ${QUORVEL_YUV_INCLUDE})
      target_link_libraries(${target} PRIVATE ${QUORVEL_YUV_LIBRARY})
    endforeach()
    target_link_libraries(quorvel_bench PRIVATE benchmark::benchmark)
  endif()
endif()
