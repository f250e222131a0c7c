#!/usr/bin/env python3
"""Runs dctool as a user would on one real meshed model and checks it against the model's
independently computed figures: dctool_models.py TOOL MODELS_DIR WORKDIR MODEL.

Import (both forms), solid volumes and boundary areas, point-in-solid answers, sheet, curve and
triangle counts, the .vtp and .obj exports parsed back, the 3D picture, and the pick, select and
cut queries on the imported geometry."""
import json
import math
import os
import subprocess
import sys
import xml.etree.ElementTree as ET

tool, models, work, model = sys.argv[1:5]
os.makedirs(work, exist_ok=True)
figures = json.load(open(os.path.join(models, model + ".figures.json")))
src = os.path.join(models, model + ".msh")
out = lambda name: os.path.join(work, model + name)


def fail(message):
    print(f"FAIL ({model}): {message}")
    sys.exit(1)


def run(*args, status=0):
    r = subprocess.run([tool, *map(str, args)], capture_output=True, text=True)
    if r.returncode != status:
        fail(f"dctool {' '.join(map(str, args))} exited {r.returncode}: {r.stderr.strip()}")
    if status and len(r.stderr.splitlines()) != 1:
        fail(f"dctool {' '.join(map(str, args))}: error is not one line: {r.stderr!r}")
    return r


def close(a, b, rel=1e-9):
    return abs(a - b) <= rel * max(1.0, abs(b))


surfaces = {s["tag"]: s for s in figures["surfaces"]}
volumes = sorted(figures["volumes"], key=lambda v: v["tag"])
counts = figures["counts"]

# Import: a geometry map in the binary form, a plain drawing in the text form, both quiet.
r = run("import", src, out(".bin"))
if r.stdout or r.stderr:
    fail(f"import is not quiet: {r.stdout!r} {r.stderr!r}")
run("import", src, out(".txt"), "--draw")
for path, cls in ((out(".bin"), "RenderGeom3D"), (out(".txt"), "RenderDraw3D")):
    info = json.loads(run("info", "--json", path).stdout)
    if info["class"] != cls or info["format"] != ("text" if path.endswith(".txt") else "binary"):
        fail(f"{path}: {info['class']} in {info['format']} form")
    c = info["counts"]
    want = {"points": counts["points"], "curves": counts["curves"],
            "sheets": counts["surfaces"], "solids": counts["volumes"]}
    if any(c[k] != v for k, v in want.items()):
        fail(f"{path}: counts {c}, expected {want}")
    for i, v in enumerate(volumes):
        if not close(info["solid volumes"][i], v["volume"]):
            fail(f"volume {v['tag']}: {info['solid volumes'][i]} expected {v['volume']}")
        if not close(info["solid boundary areas"][i], v["boundary_area"]):
            fail(f"boundary area {v['tag']}: {info['solid boundary areas'][i]}")

# Point in solid, answered with the model's volume tags.
for p in figures["inside"]:
    got = json.loads(run("inside", out(".bin"), "--json", "--", *p["point"]).stdout)
    tags = sorted(s["tag"] for s in got["solids"])
    if tags != sorted(p["volumes"]):
        fail(f"inside {p['point']}: {tags}, expected {sorted(p['volumes'])}")
text = run("inside", out(".bin"), "--", *figures["inside"][0]["point"]).stdout
if figures["inside"][0]["volumes"] and "(tag " not in text:
    fail(f"inside: text output {text!r}")

# VTK polydata: triangles per surface tag, unit normals, indices in range.
run("export", out(".bin"), out(".vtp"))
piece = ET.parse(out(".vtp")).getroot().find("PolyData/Piece")
n_points = int(piece.get("NumberOfPoints"))
arrays = {a.get("Name"): [float(x) for x in (a.text or "").split()]
          for a in piece.iter("DataArray") if a.get("Name")}
kinds, tags = arrays["kind"], arrays["tag"]
n_cells = sum(int(piece.get(k)) for k in ("NumberOfVerts", "NumberOfLines", "NumberOfPolys"))
if len(kinds) != n_cells or len(tags) != n_cells:
    fail("cell arrays do not match the cells")
per_tag = {}
for k, t in zip(kinds, tags):
    if k == 2:
        per_tag[int(t)] = per_tag.get(int(t), 0) + 1
if per_tag != {t: s["triangles"] for t, s in surfaces.items()}:
    fail(f"triangles per surface {per_tag}")
# Every point; every curve but those without a mesh (a sphere's poles and seam may have none).
if kinds.count(0) != counts["points"] or not 0 < kinds.count(1) <= counts["curves"]:
    fail("curves or points missing from the .vtp")
normals = arrays["Normals"]
for i in range(0, len(normals), 3):
    length = math.sqrt(sum(x * x for x in normals[i:i + 3]))
    if length and abs(length - 1) > 1e-6:
        fail(f"normal {i // 3} has length {length}")
for cells in ("Verts", "Lines", "Polys"):
    for a in piece.find(cells).iter("DataArray"):
        if a.get("Name") == "connectivity" and any(
                not 0 <= int(x) < n_points for x in (a.text or "").split()):
            fail(f"{cells}: index out of range")

# OBJ: one group per entity, every triangle once with its normals.
run("export", out(".bin"), out(".obj"))
lines = open(out(".obj")).read().splitlines()
groups = [l for l in lines if l.startswith("g ")]
faces = [l for l in lines if l.startswith("f ")]
if len(groups) != len(set(zip(kinds, arrays["entity"]))):
    fail(f"{len(groups)} groups in the .obj")
if len(faces) != sum(s["triangles"] for s in surfaces.values()) or "//" not in faces[0]:
    fail("faces of the .obj")
n_v = sum(1 for l in lines if l.startswith("v "))
if any(not 1 <= int(x.split("/")[0]) <= n_v for f in faces for x in f.split()[1:]):
    fail("an .obj face names a missing vertex")

# Pick along the z axis through the middle of the model: hits sorted along the line, on the
# model's surfaces, with unit normals; a closed model is entered and left alike.
box = json.loads(run("info", "--json", out(".bin")).stdout)["boundingBox"]
mid = [(box[a][0] + box[a][1]) / 2 for a in "xyz"]
lo = [box[a][0] - 1 for a in "xyz"]
hi = [box[a][1] + 1 for a in "xyz"]
x0, y0 = mid[0] + 0.0123, mid[1] + 0.0071  # off any symmetry line of the mesh
hits = json.loads(run("pick", out(".bin"), x0, y0, lo[2], x0, y0, hi[2], "--json").stdout)["hits"]
ts = [h["t"] for h in hits]
if ts != sorted(ts) or any(h["tag"] not in surfaces for h in hits):
    fail(f"pick: {hits}")
if any(abs(math.hypot(*h["normal"]) - 1) > 1e-6 for h in hits):
    fail("pick: a normal is not of unit length")
if hits and (hits[0]["normal"][2] > 0 or hits[-1]["normal"][2] < 0):
    fail("pick: the first hit does not face the line's start, or the last its end")

# Select: a box around everything holds every sheet and every solid; a ball far away nothing.
every = [lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]]
sheets = json.loads(run("select", out(".bin"), "box", *every, "--dim", 2, "--inside",
                        "--json").stdout)["selected"]
if sorted(s["tag"] for s in sheets) != sorted(surfaces):
    fail(f"select box: {sheets}")
solids = json.loads(run("select", out(".bin"), "box", *every, "--dim", 3, "--json")
                    .stdout)["selected"]
if sorted(s["tag"] for s in solids) != [v["tag"] for v in volumes]:
    fail(f"select solids: {solids}")
far = json.loads(run("select", out(".bin"), "ball", 100, 100, 100, 1, "--dim", 1, "--json")
                 .stdout)["selected"]
if far:
    fail(f"select far ball: {far}")

# Cut by the plane z = middle: plot data whose segments lie in the plane.
run("cut", out(".bin"), mid[0], mid[1], mid[2], 0, 0, 1, out("-cut.txt"))
run("export", out("-cut.txt"), out("-cut.vtp"))
cut = ET.parse(out("-cut.vtp")).getroot().find("PolyData/Piece")
if int(cut.get("NumberOfLines")) == 0:
    fail("the cut has no segments")
zs = [float(x) for x in cut.find("Points/DataArray").text.split()][2::3]
if any(abs(z - mid[2]) > 1e-6 * (1 + abs(mid[2])) for z in zs):
    fail("a cut point lies off the plane")

# The 3D picture parses and draws every triangle.
run("svg", out(".bin"), out(".svg"), "--view", "iso")
svg = ET.parse(out(".svg")).getroot()
polygons = [e for e in svg.iter() if e.tag.endswith("polygon")]
if len(polygons) != sum(s["triangles"] for s in surfaces.values()):
    fail(f"{len(polygons)} triangles drawn")

# Models without a mesh are meshed on import: a box from a script (size as asked), and a planar
# rectangle, which becomes a 2D geometry map.
if model == "cube":
    open(out("-box.geo"), "w").write(
        'SetFactory("OpenCASCADE");\nBox(1) = {0, 0, 0, 1, 2, 3};\n')
    run("import", out("-box.geo"), out("-box.bin"), "--size", 0.5)
    info = json.loads(run("info", "--json", out("-box.bin")).stdout)
    if not (close(info["solid volumes"][0], 6, 1e-6) and
            close(info["solid boundary areas"][0], 22, 1e-6)):
        fail(f"meshed box: {info}")
    run("import", out("-box.geo"), out("-fine.bin"), "--size", 0.25)
    points = [int(run("export", out(f), out(f + ".vtp"), "-v").stderr.split(": ")[1].split()[0])
              for f in ("-box.bin", "-fine.bin")]
    if not points[0] < points[1]:
        fail(f"a smaller --size does not refine the mesh: {points} points")
    open(out("-plane.geo"), "w").write(
        'SetFactory("OpenCASCADE");\nRectangle(1) = {0, 0, 0, 2, 1};\n')
    run("import", out("-plane.geo"), out("-plane.bin"))
    info = json.loads(run("info", "--json", out("-plane.bin")).stdout)
    if info["class"] != "RenderGeom2D" or info["counts"]["faces"] != 1:
        fail(f"planar model: {info}")

# Bad input: one line, exit 1.
if model == "cube":
    run("import", work, out("-dir.bin"), status=1)
    run("import", out("-missing.msh"), out("-x.bin"), status=1)
    open(out("-garbage.msh"), "w").write("not a model\n")
    run("import", out("-garbage.msh"), out("-x.bin"), status=1)
    run("import", src, work, status=1)
    run("inside", out(".bin"), "nan", 0, 0, status=1)
    run("pick", out(".bin"), 0, 0, 0, "inf", 0, 0, status=1)
    run("cut", out(".bin"), 0, 0, 0, 0, 0, 0, out("-zero.txt"), status=1)
    run("export", out(".bin"), out(".xyz"), status=1)
    os.makedirs(out("-dir.vtp"), exist_ok=True)
    run("export", out(".bin"), out("-dir.vtp"), status=1)
print(f"ok ({model})")
