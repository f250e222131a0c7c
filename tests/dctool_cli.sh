#!/usr/bin/env bash
# Runs dctool as a user would, one case per call: dctool_cli.sh TOOL WORKDIR CASE.
# The "demo" case writes the sample files that the other cases read.
set -u
tool=$1
dir=$2
case=$3

fail() { echo "FAIL ($case): $*"; exit 1; }
# run EXPECTED_STATUS ARGS...: runs the tool, keeps stdout and stderr, checks the exit status.
run() {
  local want=$1
  shift
  "$tool" "$@" >"$dir/$case.out" 2>"$dir/$case.err"
  local got=$?
  [ "$got" -eq "$want" ] || fail "dctool $* exited $got, expected $want; stderr: $(cat "$dir/$case.err")"
}
expect_out() { grep -qF -- "$1" "$dir/$case.out" || fail "stdout lacks '$1': $(head -c 600 "$dir/$case.out")"; }
expect_err() { grep -qF -- "$1" "$dir/$case.err" || fail "stderr lacks '$1': $(cat "$dir/$case.err")"; }
one_line_err() { [ "$(wc -l <"$dir/$case.err")" -eq 1 ] || fail "error is not one line: $(cat "$dir/$case.err")"; }

case $case in
  demo)
    rm -rf "$dir" && mkdir -p "$dir"
    run 0 demo "$dir"
    expect_out "all samples read back unchanged"
    for f in drawing2d projection sketch drawing1d plot impression symbol geommap2d mesh; do
      [ -s "$dir/$f.bin" ] && [ -s "$dir/$f.txt" ] || fail "demo did not write $f in both forms"
    done
    expect_out "face area 7.21964"
    expect_out "the arc at u = 1/2 lies 1 from its centre"
    expect_out "moving vertex 1 changes edges 0 1"
    ;;
  dump)
    run 0 dump "$dir/impression.bin"
    expect_out 'string "Impression"'
    expect_out '# "version"'
    expect_out '    float 1'  # the nested bounding box is indented
    run 0 dump "$dir/symbol.txt"
    expect_out 'string "fixed support"'
    # A reader that keeps everything: the dump is exactly the text form.
    run 0 dump "$dir/symbol.bin"
    cmp -s "$dir/$case.out" "$dir/symbol.txt" || fail "dump differs from the text form"
    ;;
  info)
    run 0 info "$dir/impression.txt"
    expect_out "class:             Impression"
    expect_out "data-carrier type: 9 (impression)"
    expect_out "bounding box:      x 1 .. 3, y 0.5 .. 1.5"
    run 0 info "$dir/drawing2d.bin"
    expect_out "entities:          5 points, 5 curves, 1 faces"
    expect_out "bounding box:      x 0 .. 4, y 0 .. 2"
    run 0 info "$dir/sketch.txt"
    expect_out "data-carrier type: 1 (drawing object)"
    expect_out "entities:          5 vertices, 4 edges"
    expect_out "degrees:           1, 2, 3, 1 (one per edge)"
    expect_out "bounding box:      x 0 .. 3, y 0 .. 2.5999999"
    run 0 info --json "$dir/sketch.bin"
    expect_out '"counts": {"vertices": 5, "edges": 4}, "degrees": [1, 2, 3, 1]'
    run 0 info "$dir/mesh.bin"
    expect_out "data-carrier type: 3 (mesh collection)"
    expect_out "entities:          2 pieces, 1 2D subdomain pieces, 1 2D boundary pieces, 28 vertices, 2 triangles, 7 quads"
    run 0 info "$dir/geommap2d.txt"
    expect_out "data-carrier type: 2 (geometry map)"
    expect_out "5 geometry points, 5 geometry edges, 1 geometry domains"
    run 0 info "$dir/drawing3d.bin"
    expect_out "entities:          0 points, 0 curves, 6 sheets, 1 solids"
    expect_out "bounding box:      x 0 .. 2, y 0 .. 1, z 0 .. 1"
    expect_out "solid volumes:     2"
    expect_out "solid boundary areas: 10"
    run 0 info --json "$dir/drawing3d.txt"
    expect_out '"solid volumes": [2], "solid boundary areas": [10]'
    run 0 info --json "$dir/impression.bin"
    expect_out '"class": "Impression", "dataCarrierType": 9'
    expect_out '"boundingBox": {"x": [1, 3], "y": [0.5, 1.5]}'
    ;;
  svg)
    run 0 svg "$dir/drawing2d.bin" "$dir/plate.svg"
    for want in '<svg xmlns=' '<title>face 0</title>' '<title>curve 4</title>' \
                '<title>point 4</title>' 'viewBox="-0.2 -0.2 4.4 2.4"'; do
      grep -qF -- "$want" "$dir/plate.svg" || fail "plate.svg lacks $want"
    done
    # y points up: the hole's start point (2, 1.25) is drawn at 0 + 2 - 1.25 = 0.75.
    grep -qF -- 'cx="2" cy="0.75"' "$dir/plate.svg" || fail "the hole's point is not mirrored"
    run 0 svg "$dir/projection.txt" "$dir/projection.svg"
    grep -qF -- '<title>curve 5</title>' "$dir/projection.svg" || fail "projection lacks curve 5"
    run 0 svg "$dir/sketch.bin" "$dir/sketch-again.svg"
    for want in '<title>edge 1 (degree 2)</title>' '<title>edge 2 (degree 3)</title>' \
                '<title>control polygon of edge 2</title>' 'stroke-dasharray' \
                '<title>vertex 3</title>' 'viewBox="-0.15 -0.15 3.3 2.9"'; do
      grep -qF -- "$want" "$dir/sketch-again.svg" || fail "sketch svg lacks $want"
    done
    # The deleted vertex 4 is left out; the sketch's line from (0, 0) to (2, 0) is drawn at
    # y = -0.15 + 2.75 - 0 = 2.6.
    ! grep -qF -- '<title>vertex 4</title>' "$dir/sketch-again.svg" || fail "deleted vertex drawn"
    grep -qF -- 'points="0,2.6 2,2.6"><title>edge 0' "$dir/sketch-again.svg" || fail "edge 0 moved"
    run 1 svg "$dir/plot.bin" "$dir/plot.svg"
    expect_err "Not_a_2D_drawing"
    ;;
  convert)
    for f in drawing2d projection sketch drawing1d plot impression symbol geommap2d mesh; do
      run 0 convert "$dir/$f.txt" "$dir/$f.conv.bin"
      cmp -s "$dir/$f.conv.bin" "$dir/$f.bin" || fail "$f: text to binary is not bit-exact"
      run 0 convert "$dir/$f.bin" "$dir/$f.conv.txt"
      run 0 convert "$dir/$f.conv.txt" "$dir/$f.back.bin"
      cmp -s "$dir/$f.back.bin" "$dir/$f.bin" || fail "$f: binary to text to binary changed"
      run 0 convert "$dir/$f.back.bin" "$dir/$f.back.txt"
      cmp -s "$dir/$f.back.txt" "$dir/$f.conv.txt" || fail "$f: text to binary to text changed"
      run 0 convert "$dir/$f.bin" "$dir/$f.same.bin" --binary
      cmp -s "$dir/$f.same.bin" "$dir/$f.bin" || fail "$f: binary to binary changed"
    done
    ;;
  bad-files)
    # Every truncation of a binary file: exit 1 with one line naming file, offset and code.
    size=$(stat -c %s "$dir/impression.bin")
    for ((n = 1; n < size; n += 7)); do
      head -c "$n" "$dir/impression.bin" >"$dir/cut.bin"
      run 1 info "$dir/cut.bin"
      one_line_err
      expect_err "$dir/cut.bin: byte "
    done
    head -c 60 "$dir/impression.bin" >"$dir/cut.bin"
    run 1 dump "$dir/cut.bin"
    expect_err "End_of_file_reached"
    head -n 7 "$dir/symbol.txt" >"$dir/cut.txt"
    run 1 dump "$dir/cut.txt"
    expect_err "$dir/cut.txt: byte "
    expect_err "End_of_file_reached"
    # Random bytes, and random bytes behind a valid class identifier.
    head -c 4096 /dev/urandom >"$dir/random.bin"
    run 1 info "$dir/random.bin"
    one_line_err
    { head -c 18 "$dir/symbol.bin"; head -c 4096 /dev/urandom; } >"$dir/random2.bin"
    "$tool" dump "$dir/random2.bin" >/dev/null 2>"$dir/$case.err"
    status=$?
    [ "$status" -eq 1 ] || [ "$status" -eq 0 ] || fail "random data behind a class identifier: exit $status"
    run 1 dump "$dir/does-not-exist.bin"
    expect_err "cannot open"
    printf 'string "NoSuchClass"\n' >"$dir/unknown.txt"
    run 1 info "$dir/unknown.txt"
    expect_err "Unknown_class_identifier"
    ;;
  usage)
    run 0 --help
    expect_out "usage: dctool"
    for c in dump info convert svg demo; do
      run 0 "$c" --help
      expect_out "usage: dctool $c"
    done
    run 2
    run 2 frobnicate
    run 2 dump
    run 2 info "$dir/symbol.bin" --yaml
    run 2 convert "$dir/symbol.bin" "$dir/x.txt" --text --binary
    ;;
  *)
    fail "unknown case"
    ;;
esac
echo "ok ($case)"
