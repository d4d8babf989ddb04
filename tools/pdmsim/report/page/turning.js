// Keys and pointers on the canvas turn, move and zoom the mesh.

function turnByKeys(look) {
  look.canvas.addEventListener("keydown", event => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] }[event.key];
    if (arrows && event.shiftKey) look.move(20 * arrows[0], -20 * arrows[1]);
    else if (arrows) look.turn(-10 * arrows[0], 10 * arrows[1]);
    else if (event.key === "+" || event.key === "=") look.zoomBy(1.2);
    else if (event.key === "-") look.zoomBy(1 / 1.2);
    else if (event.key === "0" || event.key === "Home") look.whole();
    else return;
    event.preventDefault();
  });
}

// Drags of one pointer turn, with Shift or another button move; two pointers zoom.
function turnByPointers(look) {
  const { canvas } = look;
  const down = new Map();
  const apart = () => { const [a, b] = [...down.values()]; return Math.hypot(a.x - b.x, a.y - b.y) || 1; };
  canvas.addEventListener("pointerdown", event => {
    canvas.setPointerCapture(event.pointerId);
    down.set(event.pointerId, { x: event.clientX, y: event.clientY });
  });
  canvas.addEventListener("pointermove", event => {
    const before = down.get(event.pointerId);
    if (!before) return;
    const far = down.size === 2 ? apart() : 0, x = event.clientX - before.x, y = event.clientY - before.y;
    down.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (down.size === 2) look.zoomBy(apart() / far);
    else if (event.shiftKey || event.buttons > 1) look.move(x, y);
    else look.turn(-0.4 * x, 0.4 * y);
  });
  for (const end of ["pointerup", "pointercancel"]) canvas.addEventListener(end, event => down.delete(event.pointerId));
  canvas.addEventListener("contextmenu", event => event.preventDefault());
  canvas.addEventListener("wheel", event => {
    event.preventDefault();
    look.zoomBy(Math.exp(-Math.max(-200, Math.min(200, event.deltaY)) / 500));
  }, { passive: false });
}
