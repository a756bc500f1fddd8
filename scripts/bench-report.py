#!/usr/bin/env python3
"""Turns the JSON output of the benchmark programs into the results tables
and the gnuplot script of the frame plot. Called by scripts/bench.sh.

Usage: bench-report.py RESULTS_DIR DOCS_DIR SETTINGS

Reads RESULTS_DIR/bench_*.json; writes DOCS_DIR/performance-results.md,
replaces the block between the results markers in DOCS_DIR/performance.md
(when that file has them), and writes RESULTS_DIR/frames.dat and
RESULTS_DIR/frames.gp, which draw DOCS_DIR/performance-frames.png.
"""

import json
import os
import sys

BEGIN = "<!-- bench-results:begin -->"
END = "<!-- bench-results:end -->"
TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(results_dir, prefix="bench_"):
    runs = {}
    context = {}
    for name in sorted(os.listdir(results_dir)):
        if not (name.startswith(prefix) and name.endswith(".json")):
            continue
        with open(os.path.join(results_dir, name)) as f:
            data = json.load(f)
        context = context or data.get("context", {})
        for b in data.get("benchmarks", []):
            if b.get("run_type", "iteration") != "iteration" or b.get("error_occurred"):
                continue
            runs[b["name"]] = b
    return runs, context


def ns(run, key="real_time"):
    return run[key] * TO_NS[run.get("time_unit", "ns")]


def fmt(value, digits=1):
    if value is None:
        return "–"
    if abs(value) >= 100:
        return f"{value:,.0f}"
    return f"{value:.{digits}f}"


def ratio(value):
    return "–" if value is None else f"{value:.2f}×"


GRAPHS = [("Chain", "chain"), ("Layered", "layered"), ("NestedChain", "chain, nested"),
          ("NestedLayered", "layered, nested")]
TOGGLED = [("ToggleChain", "chain"), ("ToggleLayered", "layered")]


def frame_rows(runs, graphs):
    rows = []
    for key, label in graphs:
        for size in (10, 100, 1000, 10000):
            run = runs.get(f"frames/{key}/{size}/manual_time")
            if run:
                rows.append((key, label, size, run))
    return rows


def frame_table(rows):
    lines = ["| graph | N | passes run | floor ns/pass | compiled ns/pass | compiled / floor "
             "| literal ns/pass | literal / floor | allocs/frame compiled, literal, floor "
             "| schedule recordings/frame |",
             "|---|---:|---:|---:|---:|---:|---:|---:|---|---:|"]
    for _, label, size, r in rows:
        allocs = ", ".join(fmt(r.get(k), 2) for k in ("render_allocs", "literal_allocs", "floor_allocs"))
        lines.append(f"| {label} | {size:,} | {int(r['passes']):,} | {fmt(r['floor_ns'])} | {fmt(r['render_ns'])} "
                     f"| {ratio(r.get('render_x'))} | {fmt(r.get('literal_ns'))} | {ratio(r.get('literal_x'))} "
                     f"| {allocs} | {fmt(r.get('render_compiles'), 2)} |")
    return lines


def build_table(runs):
    lines = ["| nodes | forward ns/node | shuffled ns/node | baseline ns/node | forward / baseline "
             "| shuffled / baseline | page faults/node forward, shuffled, baseline |",
             "|---:|---:|---:|---:|---:|---:|---|"]
    per_node = {}
    for size in (1000, 10000, 100000):
        r = runs.get(f"BM_BuildLayered/{size}/manual_time")
        if not r:
            continue
        per_node[size] = r
        faults = ", ".join(fmt(r.get(f"{way}_faults"), 3) if r.get(f"{way}_faults") is not None else "–"
                           for way in ("forward", "shuffled", "baseline"))
        lines.append(f"| {size:,} | {fmt(r['forward_ns'])} | {fmt(r['shuffled_ns'])} | {fmt(r['baseline_ns'])} "
                     f"| {ratio(r['forward_x'])} | {ratio(r['shuffled_x'])} | {faults} |")
    if 1000 in per_node and 100000 in per_node:
        a, b = per_node[1000], per_node[100000]
        lines += ["", "Per-node cost at 100,000 nodes against 1,000: forward "
                  f"{ratio(b['forward_ns'] / a['forward_ns'])}, shuffled {ratio(b['shuffled_ns'] / a['shuffled_ns'])}, "
                  f"baseline {ratio(b['baseline_ns'] / a['baseline_ns'])}."]
    listed = [(size, r) for size, r in sorted(per_node.items()) if r.get("shuffled_list_ns") is not None]
    if listed:
        line = ("The shuffled edges in one `addEdges` call, which reads ahead: "
                + ", ".join(f"{fmt(r['shuffled_list_ns'])} ns per node at {size:,}" for size, r in listed))
        if 1000 in per_node and 100000 in per_node and per_node[1000].get("shuffled_list_ns"):
            line += (", {} from 1,000 to 100,000"
                     .format(ratio(per_node[100000]["shuffled_list_ns"] / per_node[1000]["shuffled_list_ns"])))
        lines += ["", line + "."]
    return lines


def build_tables(runs, kept):
    lines = ["With the allocator as it comes: a destroyed graph's memory goes back to the system, and a large "
             "build touches fresh pages.", ""]
    lines += build_table(runs)
    if any(name.startswith("BM_BuildLayered/") for name in kept):
        lines += ["", "With the allocator keeping freed memory (`GLIBC_TUNABLES`, see Method): every build reuses "
                  "memory already mapped.", ""]
        lines += build_table(kept)
    for name, what in (("BM_DependentLoads", "One random read that waits for the read before it"),
                       ("BM_IndependentLoads", "One random read at a place known in advance, free to overlap "
                                               "with others")):
        loads = [(size, runs.get(f"{name}/{size}")) for size in (1000, 10000, 20000, 40000, 100000)]
        loads = [(size, r) for size, r in loads if r and r.get("per_load")]
        if loads:
            lines += ["", f"{what}, in a working set as large as the graph (192 bytes per node), on this machine: "
                      + ", ".join(f"{fmt(r['per_load'] * 1e9)} ns at {size:,} nodes "
                                  f"({fmt(r['working_set_bytes'] / 1e6, 2)} MB)" for size, r in loads) + "."]
    footprint = []
    for size in (24, 32, 48, 64, 96, 144):
        small = runs.get(f"BM_RecordFootprint<{size}>/1000/manual_time")
        large = runs.get(f"BM_RecordFootprint<{size}>/100000/manual_time")
        if small and large:
            footprint.append(f"| {size} | {fmt(small['ns_per_edge'])} | {fmt(large['ns_per_edge'])} "
                             f"| {ratio(large['ns_per_edge'] / small['ns_per_edge'])} |")
    if footprint:
        lines += ["", "The shuffled build's reads and writes with single calls, done by a synthetic on node records "
                  "of each size (`BM_RecordFootprint`, not a library operation; the library's record takes 144 bytes "
                  "with Qt 6):", "",
                  "| record bytes | ns/edge at 1,000 nodes | ns/edge at 100,000 nodes | growth |",
                  "|---:|---:|---:|---:|"] + footprint
    return lines


def memory_table(runs):
    lines = ["| nodes | edges | bytes/node | bytes/edge |", "|---:|---:|---:|---:|"]
    for size in (1000, 100000):
        r = runs.get(f"BM_GraphBytes/{size}/iterations:1")
        if r:
            lines.append(f"| {size:,} | {int(r['edges']):,} | {fmt(r['bytes_per_node'])} | {fmt(r['bytes_per_edge'])} |")
    return lines


WALKS = [("inputWalk/breadthFirst_deep", "deepInputs", "BreadthFirstInputWalker, chain"),
         ("inputWalk/breadthFirst_deep_follow", "deepInputs", "BreadthFirstInputWalker, chain, following sources"),
         ("inputWalk/breadthFirst_wide", "wideInputs", "BreadthFirstInputWalker, fan-in"),
         ("inputWalk/breadthFirst_nested_follow", "wideNested", "BreadthFirstInputWalker, nested producers"),
         ("inputWalk/bottomUp_deep", "deepInputs", "BottomUpInputWalker, chain"),
         ("inputWalk/bottomUp_deep_follow", "deepInputs", "BottomUpInputWalker, chain, following sources"),
         ("inputWalk/bottomUp_wide", "wideInputs", "BottomUpInputWalker, fan-in"),
         ("inputWalk/bottomUp_nested_follow", "wideNested", "BottomUpInputWalker, nested producers"),
         ("subgraphWalk/wideTree", "wideTree", "BottomUpSubgraphWalker, one level"),
         ("subgraphWalk/deepTree", "deepTree", "BottomUpSubgraphWalker, 100,000 levels")]


def per_item_ns(run):
    rate = run.get("items_per_second")
    return 1e9 / rate if rate else None


def other_table(runs):
    lines = ["| operation | size | time | per item | against its baseline |", "|---|---:|---:|---:|---:|"]
    r = runs.get("BM_FindNodeLastChild/10000")
    if r:
        lines.append(f"| findNode, the last of the children | 10,000 children | {fmt(ns(r, 'cpu_time') / 1e3)} µs "
                     f"| {fmt(ns(r, 'cpu_time') / 10000, 2)} ns per child | |")
    for name, base, label in WALKS:
        r = runs.get(f"{name}/100000")
        b = runs.get(f"visitEverySlot/{base}/100000")
        if r:
            walk, slot = per_item_ns(r), per_item_ns(b) if b else None
            against = ratio(walk / slot) if walk and slot else "–"
            lines.append(f"| {label} | 100,000 nodes | {fmt(ns(r, 'cpu_time') / 1e6, 2)} ms | {fmt(walk, 1)} ns per node "
                         f"| {against} |")
    for size in (10000, 100000):
        r = runs.get(f"removeHalfThenPurge/{size}/manual_time")
        if r:
            lines.append(f"| removeNode of every other node, then purge | {size:,} nodes | {fmt(ns(r) / 1e6, 2)} ms "
                         f"| {fmt(r['remove_ns'])} ns per removal, {fmt(r['purge_ns'])} ns per node purged | |")
        r = runs.get(f"removeHalfInOneCallThenPurge/{size}/manual_time")
        if r:
            lines.append(f"| the same nodes in one removeNodes call, then purge | {size:,} nodes "
                         f"| {fmt(ns(r) / 1e6, 2)} ms | {fmt(r['remove_ns'])} ns per removal, "
                         f"{fmt(r['purge_ns'])} ns per node purged | |")
    for size in (1000, 100000):
        r = runs.get(f"BM_DeepHierarchy/{size}/manual_time")
        if r:
            lines.append(f"| down edges from the top, then up edges from the bottom | {size:,} levels "
                         f"| {fmt(ns(r) / 1e6, 2)} ms | {fmt(r['down_ns'])} ns per level and down edge, "
                         f"{fmt(r['up_ns'])} ns per up edge | |")
    for size in (1000, 100000):
        r = runs.get(f"BM_BuildInOtherOrders/{size}/manual_time")
        if r:
            lines.append(f"| layered graph built from its sinks back | {size:,} nodes | {fmt(ns(r) / 1e6, 2)} ms "
                         f"| {fmt(r['from_sinks_ns'])} ns per node | |")
            lines.append(f"| layered graph, nodes made in shuffled order, then edges from the first layer "
                         f"| {size:,} nodes | {fmt(r['shuffled_nodes_ns'] * size / 1e6, 2)} ms "
                         f"| {fmt(r['shuffled_nodes_ns'])} ns per node | |")
    for size in (1000, 100000):
        r = runs.get(f"BM_PutInAChain/{size}/manual_time")
        if r:
            lines.append(f"| a node put in after the head of a chain, each new one right after it | {size:,} nodes "
                         f"| {fmt(r['head_ns'] * 1000 / 1e6, 2)} ms for 1,000 | {fmt(r['head_ns'])} ns per insertion | |")
            lines.append(f"| a node put in right before the last node of a chain | {size:,} nodes "
                         f"| {fmt(r['end_ns'] * 1000 / 1e6, 2)} ms for 1,000 | {fmt(r['end_ns'])} ns per insertion | |")
            lines.append(f"| a node put in after the middle node of a chain, each new one right after it "
                         f"| {size:,} nodes | {fmt(r['middle_ns'] * 100 / 1e6, 2)} ms for 100 "
                         f"| {fmt(r['middle_ns'])} ns per insertion | |")
    r = runs.get("BM_ConnectByName/100")
    if r:
        lines.append(f"| connectByName | 100 ports each | {fmt(ns(r, 'cpu_time') / 1e3)} µs "
                     f"| {fmt(ns(r, 'cpu_time') / 100)} ns per edge | |")
    r, b = runs.get("BM_GraphvizText/10000"), runs.get("BM_ReadTopLevel/10000")
    if r:
        against = ratio(ns(r, "cpu_time") / ns(b, "cpu_time")) if b else "–"
        lines.append(f"| graphvizText | 10,000 top-level nodes | {fmt(ns(r, 'cpu_time') / 1e6, 2)} ms "
                     f"| {fmt(ns(r, 'cpu_time') / 10000)} ns per node | {against} |")
    return lines


def plot(rows, results_dir, docs_dir):
    have_literal = any("literal_ns" in r for *_, r in rows)
    with open(os.path.join(results_dir, "frames.dat"), "w") as f:
        for key, _ in GRAPHS:
            f.write(f"# {key}: passes floor render literal\n")
            for k, _, _, r in rows:
                if k == key:
                    f.write(f"{int(r['passes'])} {r['floor_ns']} {r['render_ns']} {r.get('literal_ns', 'NaN')}\n")
            f.write("\n\n")
    png = os.path.abspath(os.path.join(docs_dir, "performance-frames.png"))
    dat = os.path.abspath(os.path.join(results_dir, "frames.dat"))
    script = [
        f'set terminal pngcairo size 1200,860 font "sans,10"',
        f'set output "{png}"',
        'set multiplot layout 2,2 title "render() against the floor: ns per pass run (lower is better)"',
        "set logscale x", "set xrange [8:14000]", "set yrange [0:*]", "set key top left reverse Left opaque box",
        'set xlabel "N (passes run per frame)"', 'set ylabel "ns per pass"', "set grid",
    ]
    for index, (_, label) in enumerate(GRAPHS):
        script.append(f'set title "{label}"')
        render_title = "render() (compiled frame)" if have_literal else "render()"
        curves = [f'"{dat}" index {index} using 1:2 with linespoints lw 2 title "floor"',
                  f'"" index {index} using 1:3 with linespoints lw 2 title "{render_title}"']
        if have_literal:
            curves.append(f'"" index {index} using 1:4 with linespoints lw 2 title "literal frame"')
        script.append("plot " + ", ".join(curves))
    script.append("unset multiplot")
    with open(os.path.join(results_dir, "frames.gp"), "w") as f:
        f.write("\n".join(script) + "\n")


def main():
    results_dir, docs_dir, settings = sys.argv[1], sys.argv[2], sys.argv[3]
    runs, context = load(results_dir)
    kept, _ = load(results_dir, "kept-memory_bench_")
    rows = frame_rows(runs, GRAPHS)
    toggled = frame_rows(runs, TOGGLED)
    check = runs.get("BM_AllocationCounterCheck")

    lines = [BEGIN, "",
             f"Run of {context.get('date', 'an unknown date')} on {context.get('num_cpus', '?')} CPUs at "
             f"{context.get('mhz_per_cpu', '?')} MHz, {settings}. Generated by scripts/bench.sh; do not edit by hand.",
             "", "Compiled: render() as it runs by default, replaying its recorded schedule. Literal: render() "
             "walking the graph in every frame. Floor: the calls alone (see Method).",
             "", "#### Frames on an unchanged graph", ""]
    lines += frame_table(rows)
    lines += ["", "#### Frames with a pass outside the target's upstream toggled before each frame", ""]
    lines += frame_table(toggled)
    if check:
        lines += ["", f"Allocation counter control (one QVector per iteration): {fmt(check['allocs/frame'], 2)} "
                  "allocations per iteration."]
    lines += ["", "#### Building a layered graph (two inputs, one output per node)", ""]
    lines += build_tables(runs, kept)
    lines += ["", "#### Heap bytes of a layered graph", ""]
    lines += memory_table(runs)
    lines += ["", "#### Other operations", ""]
    lines += other_table(runs)
    lines += ["", "![ns per pass against N](performance-frames.png)", "", END]
    block = "\n".join(lines) + "\n"

    with open(os.path.join(docs_dir, "performance-results.md"), "w") as f:
        f.write("# Benchmark results\n\n" + block)
    doc = os.path.join(docs_dir, "performance.md")
    if os.path.exists(doc):
        with open(doc) as f:
            text = f.read()
        if BEGIN in text and END in text:
            text = text[:text.index(BEGIN)] + block + text[text.index(END) + len(END) + 1:]
            with open(doc, "w") as f:
                f.write(text)
    plot(rows, results_dir, docs_dir)


if __name__ == "__main__":
    main()
