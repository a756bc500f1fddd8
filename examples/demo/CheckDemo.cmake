# Runs zrn-demo once and checks what it printed and wrote.
#
#   cmake -DDEMO=<zrn-demo> -DMODE=<mode> [-DOUT=<dir>] [-DARGS=a|b|c]
#         [-DEXPECT=<text>] [-DWIDTH=w -DHEIGHT=h -DFRAMES=n]
#         [-DZRN_GRAPH=<zrn-graph>] [-DNO_DOT=ON] -P CheckDemo.cmake
#
# MODE run:    ARGS (joined by '|') plus "--out OUT" must exit 0, print no
#              error, print the tables and the last frame's report for
#              FRAMES frames, and write every file it names: OUT/image.png
#              as a WIDTHxHEIGHT 8-bit RGB PNG; OUT/graph.json, a graph
#              document of the demo's graph that reads back (through
#              ZRN_GRAPH, the zrn-graph tool, when given) and draws as
#              OUT/hierarchy.dot; OUT/graph.dot with exactly the expected
#              text; OUT/hierarchy.dot and OUT/frame-report.dot accepted by
#              Graphviz's dot, and the three SVG drawings exactly when dot
#              is found (NO_DOT: the demo runs with a PATH that hides dot,
#              and must say that it skips them); OUT/frame-report.txt with the report's lines; and
#              OUT/trace.json, Chrome trace JSON with one event per frame
#              and per pass run, in run order. Needs CMake 3.19 (JSON).
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
  foreach(file image.png graph.json graph.dot hierarchy.dot frame-report.txt frame-report.dot trace.json)
    expect_output("\n  ${file} +[a-z]")
  endforeach()
  return()
endif()

if(NOT MODE STREQUAL "run")
  message(FATAL_ERROR "CheckDemo.cmake: unknown MODE '${MODE}'")
endif()

# ------------------------------------------------------------------ run
if(CMAKE_VERSION VERSION_LESS 3.19)
  message(FATAL_ERROR "CheckDemo.cmake: MODE run reads JSON with string(JSON), which needs CMake 3.19 or later")
endif()
if(NOT code STREQUAL "0")
  fail("expected exit code 0")
endif()
if(NOT err STREQUAL "")
  fail("expected nothing on stderr")
endif()

# Reads the JSON value at the path given after `json` into `out`; fails the
# check when the path is not there.
function(json_get out json)
  string(JSON value ERROR_VARIABLE json_error GET "${json}" ${ARGN})
  if(json_error)
    fail("JSON: ${json_error}")
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

function(json_length out json)
  string(JSON value ERROR_VARIABLE json_error LENGTH "${json}" ${ARGN})
  if(json_error)
    fail("JSON: ${json_error}")
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

function(expect_equal what actual expected)
  if(NOT "${actual}" STREQUAL "${expected}")
    fail("${what} is '${actual}', expected '${expected}'")
  endif()
endfunction()

# Which frames run the exposure pass: it is off in the middle third of the
# frames, which the loop computes as frame * 3 / FRAMES.
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
math(EXPR last_third "${last} * 3 / ${FRAMES}")

# ---------------------------------------------------------------- printed tables
expect_output("\n  frames rendered +${FRAMES}\n")
expect_output("\n  passes run per frame +5 in frames 1-${first}, 4 in frames ${middle_begin}-${middle_end}, 5 in frames ${rest_begin}-${FRAMES}\n")
set(time "[0-9]+\\.[0-9][0-9][0-9]")
expect_output("\n  frame time, library units \\(\\*\\)\n    mean over all ${FRAMES} frames +${time}\n")
expect_output("\n    worst \\(frame [0-9]+\\) +${time}\n  frame time, wall-clock ms\n    mean over all ${FRAMES} frames +${time}\n    worst \\(frame [0-9]+\\) +${time}\n    last \\(lastFrameMilliseconds\\) +${time}\n")
expect_output("\n      about twice its wall-clock milliseconds")
foreach(pass generate post/blur post/tonemap histogram)
  expect_output("\n  ${pass} +${FRAMES} +${time} +${time}")
endforeach()
expect_output("\n  post/exposure +${exposure_runs} +${time} +${time}\n")
expect_output("\n  ${middle_begin}-${middle_end} +${middle} +off \\(default 1\\.0\\) +[0-9]+\\.[0-9]\n")

# ---------------------------------------------------------------- the frame report
# The last frame, counted from 0 by the report: the passes run upstream
# first, blur (asynchronous, so it may have waited) before exposure, and
# exposure only outside the middle third.
set(run_line "${time} ms, ${time} units")
if(last_third EQUAL 1)
  set(runs 4)
  set(exposure_run "")
  set(exposure_state "disabled")
  set(tonemap_at 3)
  set(histogram_at 4)
else()
  set(runs 5)
  set(exposure_run "  3\\. post/exposure: ${run_line}\n")
  set(exposure_state "ran")
  set(tonemap_at 4)
  set(histogram_at 5)
endif()
set(report_regex
  "frame ${last}: succeeded, ${runs} runs, target histogram\n"
  "time: ${time} ms wall-clock, ${time} frame-time units \\(about twice the milliseconds\\)\n"
  "runs in order \\(ms wall-clock, frame-time units\\):\n"
  "  1\\. generate: ${run_line}\n"
  "  2\\. post/blur: ${run_line}(, waited ${time} ms over [0-9]+ polls)?\n"
  "${exposure_run}"
  "  ${tonemap_at}\\. post/tonemap: ${run_line}\n"
  "  ${histogram_at}\\. histogram: ${run_line}\n"
  "passes:\n"
  "  generate: ran\n"
  "  post/exposure: ${exposure_state}\n"
  "  post/blur: ran\n"
  "  post/tonemap: ran\n"
  "  histogram: ran, target\n")
string(CONCAT report_regex ${report_regex})
file(READ "${OUT}/frame-report.txt" report_text)
if(NOT report_text MATCHES "^${report_regex}$")
  fail("frame-report.txt is not the report of the last frame:\n${report_text}")
endif()
# The demo prints the same report, each line indented by two spaces.
string(REGEX REPLACE "\n(.)" "\n  \\1" printed_report "${report_text}")
string(FIND "${out}" "\nLast frame (frame ${FRAMES}; the report counts frames from 0)\n  ${printed_report}\n" at)
if(at EQUAL -1)
  fail("stdout does not hold frame-report.txt, indented, under 'Last frame'")
endif()
expect_output("\n  wrote [^\n]*frame-report.txt \\(report of the last frame\\)\n")

# ---------------------------------------------------------------- the image
# A PNG: the signature, then the IHDR chunk (13 bytes) with the width and
# the height as 4-byte big-endian numbers, bit depth 8 and colour type 2
# (RGB); the last chunk is IEND.
function(hex32 value out)
  math(EXPR hex "${value}" OUTPUT_FORMAT HEXADECIMAL)
  string(SUBSTRING "${hex}" 2 -1 digits)
  string(LENGTH "${digits}" length)
  while(length LESS 8)
    string(PREPEND digits "0")
    math(EXPR length "${length} + 1")
  endwhile()
  string(TOLOWER "${digits}" digits)
  set(${out} "${digits}" PARENT_SCOPE)
endfunction()
set(image "${OUT}/image.png")
if(NOT EXISTS "${image}")
  fail("${image} was not written")
endif()
hex32(${WIDTH} width_hex)
hex32(${HEIGHT} height_hex)
file(READ "${image}" header_hex LIMIT 26 HEX)
expect_equal("the start of ${image}" "${header_hex}"
  "89504e470d0a1a0a0000000d49484452${width_hex}${height_hex}0802")
file(SIZE "${image}" image_size)
math(EXPR iend_at "${image_size} - 12")
file(READ "${image}" trailer_hex OFFSET ${iend_at} LIMIT 12 HEX)
expect_equal("the end of ${image}" "${trailer_hex}" "0000000049454e44ae426082")
expect_output("\n  wrote [^\n]*image.png \\(last frame, PNG, ${WIDTH}x${HEIGHT}\\)\n")
if(EXISTS "${OUT}/image.ppm")
  fail("image.ppm was written; the demo writes PNG")
endif()

# ---------------------------------------------------------------- the graph document
# The demo's graph: the root named "renderer", then the passes and the group
# in the order they were added, and its 16 edges in the order they were made.
file(READ "${OUT}/graph.json" document)
json_get(format "${document}" format)
expect_equal("graph.json's format" "${format}" "zrn-graph")
json_get(version "${document}" version)
expect_equal("graph.json's version" "${version}" "1")
json_length(num_nodes "${document}" nodes)
expect_equal("graph.json's number of nodes" "${num_nodes}" "7")
set(names "")
set(parents "")
foreach(i RANGE 6)
  json_get(name "${document}" nodes ${i} name)
  json_get(parent "${document}" nodes ${i} parent)
  list(APPEND names "${name}")
  list(APPEND parents "${parent}")
endforeach()
expect_equal("graph.json's node names" "${names}" "renderer;generate;post;exposure;blur;tonemap;histogram")
expect_equal("graph.json's node parents" "${parents}" "-1;0;0;2;2;2;0")
json_length(num_edges "${document}" edges)
expect_equal("graph.json's number of edges" "${num_edges}" "16")
set(kinds "")
foreach(i RANGE 15)
  json_get(kind "${document}" edges ${i} kind)
  list(APPEND kinds "${kind}")
endforeach()
expect_equal("graph.json's edge kinds"
  "${kinds}" "down;down;down;down;regular;down;down;down;down;regular;regular;up;regular;up;up;up")
expect_output("\n  wrote [^\n]*graph.json \\(the renderer's graph, JSON graph document\\)\n")

# Read back by the library (zrn-graph check), and drawn from the document
# exactly as the demo drew its own graph (zrn-graph dot).
if(DEFINED ZRN_GRAPH AND NOT ZRN_GRAPH STREQUAL "")
  execute_process(COMMAND "${ZRN_GRAPH}" check "${OUT}/graph.json"
    RESULT_VARIABLE tool_code OUTPUT_VARIABLE tool_out ERROR_VARIABLE tool_err)
  expect_equal("zrn-graph check graph.json (exit code, stdout, stderr)" "${tool_code}|${tool_out}|${tool_err}"
    "0|${OUT}/graph.json: valid graph document, 7 nodes (2 with children), 16 edges (4 regular, 8 down, 4 up)\n|")
  execute_process(COMMAND "${ZRN_GRAPH}" dot "${OUT}/graph.json"
    RESULT_VARIABLE tool_code OUTPUT_VARIABLE tool_out ERROR_VARIABLE tool_err)
  file(READ "${OUT}/hierarchy.dot" hierarchy_text)
  if(NOT tool_code STREQUAL "0" OR NOT tool_err STREQUAL "" OR NOT tool_out STREQUAL hierarchy_text)
    fail("zrn-graph dot graph.json (exit ${tool_code}) does not give hierarchy.dot:\n${tool_out}${tool_err}")
  endif()
endif()

# ---------------------------------------------------------------- Graphviz files
# The graph's top level, line for line.
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
expect_output("\n  wrote [^\n]*graph.dot \\(pass graph, top level, Graphviz text\\)\n")

# The whole hierarchy: every edge between the ports it joins, drawn by kind.
set(expected_edges [=[
  // Edges
  "n0_in":"i0":e -> "n1":"i0":w [style=dashed, color="#1f5fa8"];
  "n0_in":"i1":e -> "n1":"i1":w [style=dashed, color="#1f5fa8"];
  "n0_in":"i2":e -> "n1":"i2":w [style=dashed, color="#1f5fa8"];
  "n0_in":"i3":e -> "n1":"i3":w [style=dashed, color="#1f5fa8"];
  "n1":"o0":e -> "n2_in":"i0":w [color="black"];
  "n0_in":"i4":e -> "n2_in":"i1":w [style=dashed, color="#1f5fa8"];
  "n2_in":"i0":e -> "n4":"i0":w [style=dashed, color="#1f5fa8"];
  "n2_in":"i1":e -> "n4":"i1":w [style=dashed, color="#1f5fa8"];
  "n2_in":"i0":e -> "n3":"i0":w [style=dashed, color="#1f5fa8"];
  "n4":"o0":e -> "n5":"i0":w [color="black"];
  "n3":"o0":e -> "n5":"i1":w [color="black"];
  "n5":"o0":e -> "n2_out":"o0":w [style=dotted, penwidth=1.6, color="#2b8a3e"];
  "n2_out":"o0":e -> "n6":"i0":w [color="black"];
  "n6":"o0":e -> "n0_out":"o0":w [style=dotted, penwidth=1.6, color="#2b8a3e"];
  "n6":"o1":e -> "n0_out":"o1":w [style=dotted, penwidth=1.6, color="#2b8a3e"];
  "n6":"o2":e -> "n0_out":"o2":w [style=dotted, penwidth=1.6, color="#2b8a3e"];
}
]=])
file(READ "${OUT}/hierarchy.dot" hierarchy_text)
string(FIND "${hierarchy_text}" "\n${expected_edges}" at)
string(LENGTH "${hierarchy_text}" hierarchy_length)
string(LENGTH "\n${expected_edges}" edges_length)
math(EXPR edges_at "${hierarchy_length} - ${edges_length}")
if(NOT hierarchy_text MATCHES "^digraph \"zrn\" {\n" OR NOT at EQUAL edges_at)
  fail("hierarchy.dot does not end with the demo's edges:\n${hierarchy_text}")
endif()
expect_output("\n  wrote [^\n]*hierarchy.dot \\(whole hierarchy with ports, Graphviz text\\)\n")

# The last frame drawn on the hierarchy: each pass with its state and its
# time, the ones that ran filled green, the target framed.
set(note "<font point-size=\"9\">")
foreach(pass generate:1 exposure:3 blur:4 tonemap:5 histogram:6)
  string(REPLACE ":" ";" pass "${pass}")
  list(GET pass 0 name)
  list(GET pass 1 node)
  set(state "ran<br/>${time} ms</font>[^\n]*fillcolor=\"#c8ecc8\"")
  if(name STREQUAL "exposure" AND last_third EQUAL 1)
    set(state "disabled</font>")
  elseif(name STREQUAL "histogram")
    set(state "target<br/>${state}[^\n]*penwidth=\"3\"")
  endif()
  file(STRINGS "${OUT}/frame-report.dot" lines REGEX "^ *\"n${node}\" \\[label=")
  if(NOT lines MATCHES "<b>${name}</b> #${node}<br/>${note}${state}")
    fail("frame-report.dot does not show ${name} as the last frame left it:\n${lines}")
  endif()
endforeach()
expect_output("\n  wrote [^\n]*frame-report.dot \\(last frame drawn on the hierarchy, Graphviz text\\)\n")

# Each Graphviz file is accepted by dot (when it is installed), and drawn
# as SVG exactly when the demo finds dot on its PATH, which NO_DOT says it
# does not.
find_program(dot_program dot)
set(dot_on_path FALSE)
if(dot_program AND NOT NO_DOT)
  set(dot_on_path TRUE)
endif()
foreach(drawing "graph|>histogram<" "hierarchy|>blurRadius<" "frame-report|>target<")
  string(REPLACE "|" ";" drawing "${drawing}")
  list(GET drawing 0 base)
  list(GET drawing 1 marker)
  set(svg "${OUT}/${base}.svg")
  if(dot_program)
    execute_process(COMMAND "${dot_program}" -Tcanon "${OUT}/${base}.dot"
      RESULT_VARIABLE dot_code OUTPUT_QUIET ERROR_VARIABLE dot_err)
    if(NOT dot_code STREQUAL "0" OR NOT dot_err STREQUAL "")
      fail("dot does not accept ${base}.dot (exit ${dot_code}): ${dot_err}")
    endif()
  endif()
  if(dot_on_path)
    if(NOT EXISTS "${svg}")
      fail("dot is at ${dot_program} but ${base}.svg was not written")
    endif()
    file(READ "${svg}" svg_text)
    string(FIND "${svg_text}" "${marker}" at)
    if(NOT svg_text MATCHES "<svg" OR at EQUAL -1)
      fail("${base}.svg is not a drawing of ${base}.dot")
    endif()
    expect_output("\n  wrote [^\n]*${base}.svg \\(drawing of ${base}.dot by ")
  else()
    if(EXISTS "${svg}")
      fail("${base}.svg was written although dot is not on PATH")
    endif()
    expect_output("\n  skipped ${base}.svg: Graphviz's dot is not on PATH\n")
  endif()
endforeach()
if(dot_on_path)
  string(FIND "${out}" "need Graphviz" at)
  if(NOT at EQUAL -1)
    fail("the demo asks for Graphviz although dot is on PATH")
  endif()
else()
  expect_output("\n  \\(the \\.svg drawings need Graphviz: install it, e\\.g\\. apt-get install graphviz\\)\n")
endif()

# ---------------------------------------------------------------- the trace
# Chrome trace JSON of the first 1000 frames at most: the metadata naming
# the process and the tracks (the frames, then each pass that ran, in pass
# order), then each frame's event followed by its runs in run order, blur
# perhaps with its "waiting" inside. Qt writes the keys in alphabetical
# order, so the "name" values in file order are the event names, each
# metadata event's argument coming before its own name.
set(traced ${FRAMES})
if(traced GREATER 1000)
  set(traced 1000)
endif()
file(READ "${OUT}/trace.json" trace)
json_get(unit "${trace}" displayTimeUnit)
expect_equal("trace.json's displayTimeUnit" "${unit}" "ms")
json_length(num_events "${trace}" traceEvents)
json_get(first_run "${trace}" traceEvents 14)
json_get(first_run_name "${first_run}" name)
json_get(first_run_phase "${first_run}" ph)
json_get(first_run_track "${first_run}" tid)
json_get(first_run_error "${first_run}" args "error code")
expect_equal("trace.json's first run (name, phase, track, error code)"
  "${first_run_name}|${first_run_phase}|${first_run_track}|${first_run_error}" "generate|X|1|0")

set(exposure_traced 0)
set(sequence "")
math(EXPR traced_last "${traced} - 1")
foreach(frame RANGE ${traced_last})
  math(EXPR third "${frame} * 3 / ${FRAMES}")
  string(APPEND sequence "frame ${frame};generate;post/blur;")
  if(NOT third EQUAL 1)
    string(APPEND sequence "post/exposure;")
    math(EXPR exposure_traced "${exposure_traced} + 1")
  endif()
  string(APPEND sequence "post/tonemap;histogram;")
endforeach()
set(tracks "generate;thread_name;thread_sort_index;")
if(exposure_traced GREATER 0)
  string(APPEND tracks "post/exposure;thread_name;thread_sort_index;")
endif()
string(APPEND tracks "post/blur;thread_name;thread_sort_index;post/tonemap;thread_name;thread_sort_index;"
  "histogram;thread_name;thread_sort_index;")
string(REGEX MATCHALL "\"name\": \"[^\"]*\"" names "${trace}")
string(REPLACE "\"name\": " "" names "${names}")
string(REPLACE "\"" "" names "${names}")
string(APPEND names ";")
# Only the asynchronous blur waits; its "waiting" follows its run.
string(REPLACE "post/blur;waiting;" "post/blur;" names "${names}")
if(NOT names STREQUAL "ZrnCore renderer;process_name;frames;thread_name;thread_sort_index;${tracks}${sequence}")
  fail("trace.json does not hold the ${traced} frames' events in run order:\n${names}")
endif()
string(REGEX MATCHALL "\"cat\": \"pass\"" pass_events "${trace}")
list(LENGTH pass_events num_pass_events)
math(EXPR expected_runs "${traced} * 4 + ${exposure_traced}")
expect_equal("trace.json's number of pass runs" "${num_pass_events}" "${expected_runs}")
string(REGEX MATCHALL "\"error code\": 0" clean_runs "${trace}")
list(LENGTH clean_runs num_clean_runs)
expect_equal("trace.json's runs with error code 0" "${num_clean_runs}" "${expected_runs}")
expect_output("\n  wrote [^\n]*trace.json \\(timeline of the first ${traced} frames, Chrome trace events: open it in ui.perfetto.dev or chrome://tracing\\)\n")
