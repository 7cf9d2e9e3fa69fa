// The block of points: base64 of a packed buffer.

/** @param {string} text @returns {Uint8Array} */
function fromBase64(text) {
  let binary;
  try {
    binary = atob(text.trim());
  } catch {
    throw new Error("the block of points is damaged (not base64)");
  }
  const bytes = new Uint8Array(binary.length);
  for (let at = 0; at < binary.length; ++at) bytes[at] = binary.charCodeAt(at);
  return bytes;
}

/** @param {Uint8Array} packed @param {string} packing */
async function unpack(packed, packing) {
  if (packing === "none") return packed.buffer;
  const Unpacker = /** @type {any} */ (globalThis).DecompressionStream;
  if (!Unpacker) {
    throw new Error("this browser cannot unpack the points (it lacks DecompressionStream; " +
      "Chromium 80, Firefox 113 and Safari 16.4 have it)");
  }
  const stream = new Blob([packed]).stream().pipeThrough(new Unpacker(packing));
  try {
    return await new Response(stream).arrayBuffer();
  } catch {
    throw new Error("the block of points is damaged (it does not unpack)");
  }
}

/**
 * The buffer that the series' columns lie in. Throws an Error with a text for people.
 * @param {string} text base64
 * @param {{packing: string, bytes: number}} data
 * @returns {Promise<ArrayBuffer>}
 */
export async function readPoints(text, data) {
  const buffer = await unpack(fromBase64(text), data.packing);
  if (buffer.byteLength !== data.bytes) {
    throw new Error(`the block of points is damaged (${buffer.byteLength} bytes of ${data.bytes})`);
  }
  return buffer;
}
