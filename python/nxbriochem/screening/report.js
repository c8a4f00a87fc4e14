// The report's table, bars and 3D view. All data stand in the page.
"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const columns = data.columns; // [title, whether it is a number]
  const rows = data.rows;
  const ROW = 24; // pixels, as in the style sheet

  // ---- The table: only what is in sight is in the document, so that ten thousand rows scroll as ten do ----

  const box = document.getElementById("table");
  const head = box.querySelector("thead tr");
  const body = box.querySelector("tbody");
  const filter = document.getElementById("filter");
  let order = rows.map((_, k) => k);
  let sorted = {column: 0, up: true};
  let chosen = -1;

  function show() {
    const height = box.clientHeight || 480;
    const first = Math.max(0, Math.floor(box.scrollTop / ROW) - 10);
    const last = Math.min(order.length, first + Math.ceil(height / ROW) + 20);
    body.replaceChildren(spacer(first), ...order.slice(first, last).map(line), spacer(order.length - last));
    document.getElementById("shown").textContent =
      `${order.length.toLocaleString("en")} of ${rows.length.toLocaleString("en")} rows`;
  }

  function spacer(count) {
    const row = document.createElement("tr");
    row.className = "spacer";
    const cell = row.insertCell();
    cell.colSpan = columns.length;
    cell.style.height = `${count * ROW}px`;
    row.hidden = count === 0;
    return row;
  }

  function line(k) {
    const row = document.createElement("tr");
    for (const [c, [, number]] of columns.entries()) {
      const cell = row.insertCell();
      const value = rows[k][c];
      cell.textContent = value === null ? "" : number && !Number.isInteger(value) ? value.toFixed(3) : value;
      cell.title = cell.textContent;
      if (number) cell.className = "number";
    }
    if (k in data.poses) row.dataset.pose = k;
    if (k === chosen) row.className = "chosen";
    row.addEventListener("click", () => choose(k));
    return row;
  }

  function sort() {
    const {column, up} = sorted;
    const number = columns[column][1];
    const collator = new Intl.Collator("en", {numeric: true});
    order.sort((a, b) => {
      const x = rows[a][column], y = rows[b][column];
      if (x === null || y === null) return (x === null) - (y === null) || a - b;
      const less = number ? x - y : collator.compare(x, y);
      return (up ? less : -less) || a - b;
    });
    for (const [c, cell] of [...head.children].entries()) {
      cell.textContent = columns[c][0] + (c === column ? (up ? " \u25b2" : " \u25bc") : "");
      cell.ariaSort = c === column ? (up ? "ascending" : "descending") : "none";
    }
    show();
  }

  function select() {
    const words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    const texts = columns.map((column, c) => (column[1] ? -1 : c)).filter((c) => c >= 0);
    order = rows.map((_, k) => k).filter((k) => {
      const text = texts.map((c) => rows[k][c] ?? "").join("\n").toLowerCase();
      return words.every((word) => text.includes(word));
    });
    box.scrollTop = 0;
    sort();
  }

  for (const c of columns.keys()) {
    const cell = document.createElement("th");
    cell.scope = "col";
    cell.addEventListener("click", () => {
      sorted = {column: c, up: sorted.column === c ? !sorted.up : true};
      sort();
    });
    head.append(cell);
  }
  box.addEventListener("scroll", () => requestAnimationFrame(show));
  filter.addEventListener("input", select);

  // ---- Contributions ----

  function showResidues(pose) {
    const place = document.getElementById("residues");
    if (!pose || !pose.residues.length) return;
    const most = Math.max(...pose.residues.map((r) => Math.abs(r[1] + r[2])), 1e-9);
    const table = document.createElement("table");
    table.createTHead().insertRow().innerHTML = "<th>residue</th><th>Coulomb</th><th>12-6</th><th>sum</th><th></th>";
    const rows = table.createTBody();
    for (const [label, coulomb, other] of pose.residues) {
      const row = rows.insertRow();
      for (const text of [label, coulomb.toFixed(3), other === null ? "" : other.toFixed(3), (coulomb + other).toFixed(3)]) {
        row.insertCell().textContent = text;
      }
      const bar = document.createElement("span");
      bar.className = coulomb + other > 0 ? "bar up" : "bar";
      bar.style.width = `${(300 * Math.abs(coulomb + other)) / most}px`;
      row.insertCell().append(bar);
    }
    const note = document.createElement("p");
    note.className = "note";
    note.textContent = `Of ${pose.label}: the strongest ${pose.residues.length} residues, kcal/mol; green attracts.`;
    place.replaceChildren(note, table);
  }

  // ---- The view ----

  let viewer = null;
  let shownTarget = null;
  const view = document.getElementById("view");

  function makeViewer() {
    if (typeof $3Dmol === "undefined") return;
    view.replaceChildren();
    try {
      viewer = $3Dmol.createViewer(view, {backgroundColor: "white"});
    } catch (error) {
      viewer = null;
    }
    if (!viewer) view.textContent = "This browser shows no 3D graphics (WebGL).";
  }

  // The atoms of residues within 5 angstrom of the ligand; of these, apart, the ones that are a residue, such as ions.
  function nearResidues() {
    const ligand = viewer.selectedAtoms({model: 1});
    const target = viewer.selectedAtoms({model: 0});
    const residue = (atom) => `${atom.chain}/${atom.resi}/${atom.icode}/${atom.resn}`;
    const close = (a) => ligand.some((b) => (a.x - b.x) ** 2 + (a.y - b.y) ** 2 + (a.z - b.z) ** 2 < 25);
    const residues = new Set(target.filter(close).map(residue));
    const atoms = target.filter((atom) => residues.has(residue(atom)));
    const sizes = new Map();
    for (const atom of atoms) sizes.set(residue(atom), (sizes.get(residue(atom)) ?? 0) + 1);
    const alone = atoms.filter((atom) => sizes.get(residue(atom)) === 1);
    return {atoms: atoms.map((atom) => atom.serial), alone: alone.map((atom) => atom.serial)};
  }

  function showPose(pose) {
    if (!viewer) return;
    if (shownTarget !== pose.target) {
      viewer.removeAllModels();
      viewer.addModel(data.targets[pose.target], "pdb", {keepH: true});
      shownTarget = pose.target;
    } else {
      viewer.removeModel(viewer.getModel(1));
    }
    viewer.addModel(pose.sdf, "sdf", {keepH: true});
    viewer.setStyle({model: 0}, {cartoon: {color: "lightgray", opacity: 0.6}});
    const near = nearResidues();
    viewer.addStyle({model: 0, serial: near.atoms}, {stick: {radius: 0.1}});
    viewer.addStyle({model: 0, serial: near.alone}, {sphere: {scale: 0.4}});
    viewer.setStyle({model: 1}, {stick: {radius: 0.2, colorscheme: "cyanCarbon"},
      sphere: {scale: 0.25, colorscheme: "cyanCarbon"}});
    viewer.zoomTo({model: 1});
    viewer.zoom(0.6);
    viewer.render();
  }

  function choose(k) {
    const pose = data.poses[k];
    if (!pose) return;
    chosen = k;
    document.getElementById("pose").textContent = pose.label;
    showPose(pose);
    showResidues(pose);
    show();
  }

  sort();
  // The table is there at once; the view, which takes longer, follows it.
  requestAnimationFrame(() => setTimeout(() => {
    makeViewer();
    if (rows.length) choose(0);
  }));
  window.screenReport = {
    get viewer() { return viewer; },
    get order() { return order; },
  };
})();
