# Runs zrn-demo once and checks what it printed and wrote.
#
#   cmake -DDEMO=<zrn-demo> -DMODE=<mode> [-DOUT=<dir>] [-DARGS=a|b|c]
#         [-DEXPECT=<text>] [-DWIDTH=w -DHEIGHT=h -DFRAMES=n] -P CheckDemo.cmake
#
# MODE run:    ARGS (joined by '|') plus "--out OUT" must exit 0, print no
#              error, write OUT/image.ppm as a WIDTHxHEIGHT binary PPM,
#              OUT/graph.dot with exactly the expected text, OUT/graph.svg
#              exactly when Graphviz's dot is found, and print the tables
#              for FRAMES frames.
# MODE reject: ARGS must exit 2 with nothing on stdout and the usage text
#              on stderr, after an error line holding the text EXPECT.
# MODE help:   ARGS must exit 0 with the usage text on stdout.

cmake_minimum_required(VERSION 3.16)

foreach(var DEMO MODE)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "CheckDemo.cmake: ${var} is not set")
  endif()
endforeach()

set(args "")
if(DEFINED ARGS AND NOT ARGS STREQUAL "")
  string(REPLACE "|" ";" args "${ARGS}")
endif()
if(MODE STREQUAL "run")
  file(REMOVE_RECURSE "${OUT}")
  list(APPEND args --out "${OUT}")
endif()

execute_process(COMMAND "${DEMO}" ${args}
  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)

function(fail what)
  message(FATAL_ERROR "zrn-demo ${args}: ${what}\n--- exit: ${code}\n--- stdout:\n${out}\n--- stderr:\n${err}")
endfunction()

function(expect_output regex)
  if(NOT out MATCHES "${regex}")
    fail("stdout does not match '${regex}'")
  endif()
endfunction()

# ------------------------------------------------------------------ reject
if(MODE STREQUAL "reject")
  if(NOT code STREQUAL "2")
    fail("expected exit code 2")
  endif()
  if(NOT out STREQUAL "")
    fail("expected nothing on stdout")
  endif()
  if(NOT err MATCHES "^zrn-demo: [^\n]+\n\nUsage: zrn-demo \\[--frames N\\]")
    fail("expected one error line, then the usage text, on stderr")
  endif()
  string(FIND "${err}" "${EXPECT}" at)
  if(at EQUAL -1)
    fail("stderr does not hold '${EXPECT}'")
  endif()
  return()
endif()

# ------------------------------------------------------------------ help
if(MODE STREQUAL "help")
  if(NOT code STREQUAL "0" OR NOT err STREQUAL "")
    fail("expected exit code 0 and nothing on stderr")
  endif()
  expect_output("^Usage: zrn-demo \\[--frames N\\] \\[--size WxH\\] \\[--blur R\\] \\[--out DIR\\]\n")
  expect_output("\n  --help +show this text\n")
  return()
endif()

if(NOT MODE STREQUAL "run")
  message(FATAL_ERROR "CheckDemo.cmake: unknown MODE '${MODE}'")
endif()

# ------------------------------------------------------------------ run
if(NOT code STREQUAL "0")
  fail("expected exit code 0")
endif()
if(NOT err STREQUAL "")
  fail("expected nothing on stderr")
endif()

# The image: a binary PPM header giving the size, then 3 bytes per pixel.
set(image "${OUT}/image.ppm")
if(NOT EXISTS "${image}")
  fail("${image} was not written")
endif()
set(header "P6\n${WIDTH} ${HEIGHT}\n255\n")
string(LENGTH "${header}" header_length)
file(READ "${image}" header_hex LIMIT ${header_length} HEX)
file(WRITE "${OUT}/expected-header.txt" "${header}")
file(READ "${OUT}/expected-header.txt" expected_hex HEX)
if(NOT header_hex STREQUAL expected_hex)
  fail("${image} does not start with the header for ${WIDTH}x${HEIGHT} (read ${header_hex})")
endif()
file(SIZE "${image}" image_size)
math(EXPR expected_size "${header_length} + ${WIDTH} * ${HEIGHT} * 3")
if(NOT image_size EQUAL expected_size)
  fail("${image} holds ${image_size} bytes, expected ${expected_size}")
endif()

# The graph's top level as Graphviz text, line for line.
set(expected_dot [=[
digraph "Zrn" {
  rankdir=LR;
 
  // Nodes
  "generate";
  "post";
  "histogram";
 
  // Edges
  "generate" -> "post";
  "post" -> "histogram";
  "histogram" -> "renderer";
}
]=])
file(READ "${OUT}/graph.dot" dot_text)
if(NOT dot_text STREQUAL expected_dot)
  fail("graph.dot differs from the expected text:\n${dot_text}")
endif()

# The SVG exactly when dot can draw it.
find_program(dot_program dot)
if(dot_program)
  if(NOT EXISTS "${OUT}/graph.svg")
    fail("dot is at ${dot_program} but graph.svg was not written")
  endif()
  file(READ "${OUT}/graph.svg" svg_text)
  if(NOT svg_text MATCHES "<svg" OR NOT svg_text MATCHES ">histogram<")
    fail("graph.svg is not a drawing of the pass graph")
  endif()
  expect_output("\n  wrote [^\n]*graph.svg \\(drawing of graph.dot by ")
else()
  if(EXISTS "${OUT}/graph.svg")
    fail("graph.svg was written although dot is not on PATH")
  endif()
  expect_output("\n  skipped graph.svg: Graphviz's dot is not on PATH\n")
endif()

# The tables. The exposure pass is off in the middle third of the frames,
# which the loop computes as frame * 3 / FRAMES.
set(counts 0 0 0)
math(EXPR last "${FRAMES} - 1")
foreach(frame RANGE ${last})
  math(EXPR third "${frame} * 3 / ${FRAMES}")
  list(GET counts ${third} n)
  math(EXPR n "${n} + 1")
  list(REMOVE_AT counts ${third})
  list(INSERT counts ${third} ${n})
endforeach()
list(GET counts 0 first)
list(GET counts 1 middle)
list(GET counts 2 rest)
math(EXPR exposure_runs "${first} + ${rest}")
math(EXPR middle_begin "${first} + 1")
math(EXPR middle_end "${first} + ${middle}")
math(EXPR rest_begin "${middle_end} + 1")

expect_output("\n  frames rendered +${FRAMES}\n")
expect_output("\n  passes run per frame +5 in frames 1-${first}, 4 in frames ${middle_begin}-${middle_end}, 5 in frames ${rest_begin}-${FRAMES}\n")
expect_output("\n    worst \\(frame [0-9]+\\) +[0-9]+\\.[0-9][0-9][0-9]\n")
foreach(pass generate post/blur post/tonemap histogram)
  expect_output("\n  ${pass} +${FRAMES} +[0-9]+\\.[0-9][0-9][0-9]")
endforeach()
expect_output("\n  post/exposure +${exposure_runs} +[0-9]+\\.[0-9][0-9][0-9]")
expect_output("\n  ${middle_begin}-${middle_end} +${middle} +off \\(default 1\\.0\\) +[0-9]+\\.[0-9]\n")
expect_output("\n  wrote [^\n]*image.ppm \\(last frame, binary PPM, ${WIDTH}x${HEIGHT}\\)\n")
expect_output("\n  wrote [^\n]*graph.dot \\(pass graph, top level, Graphviz text\\)\n")
