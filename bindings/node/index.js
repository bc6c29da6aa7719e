'use strict';
// Vistrel for Node.js and Electron: the JavaScript face of vistrel.node, which wraps the C
// interface of vistrel_host.dll. Calls on one host are queued here so that at most one native
// call runs at a time, as the C interface requires; each runs off the event loop.
const { EventEmitter } = require('node:events');
const path = require('node:path');

const binaryFolder = path.join(__dirname, 'prebuilds', `${process.platform}-${process.arch}`);
const native = loadNative();

const kDefaultTimeoutMs = 30000;
const kMaxTimeoutMs = 0xffffffff;
const asyncDispose = Symbol.asyncDispose ?? Symbol.for('nodejs.asyncDispose');

function loadNative() {
  try {
    return require(path.join(binaryFolder, 'vistrel.node'));
  } catch (cause) {
    const error = new Error(`vistrel has no binary for ${process.platform}-${process.arch} that loads here: ${cause.message}`);
    error.code = 'ERR_VISTREL_NO_BINARY';
    error.cause = cause;
    throw error;
  }
}

function invalid(message, code = 'ERR_INVALID_ARG_VALUE') {
  const error = new TypeError(message);
  error.code = code;
  return error;
}

function abortError(signal) {
  const error = new Error('The capture was aborted', { cause: signal.reason });
  error.name = 'AbortError';
  error.code = 'ABORT_ERR';
  return error;
}

function closedError() {
  const error = new Error('The host is closed');
  error.code = 'ERR_VISTREL_CLOSED';
  return error;
}

function checkRect(rect) {
  if (rect === null || typeof rect !== 'object')
    throw invalid('rect must be { left, top, right, bottom }', 'ERR_INVALID_ARG_TYPE');
  for (const side of ['left', 'top', 'right', 'bottom']) {
    if (!Number.isInteger(rect[side]) || rect[side] < -0x80000000 || rect[side] > 0x7fffffff)
      throw invalid(`rect.${side} must be a 32-bit integer`);
  }
  if (rect.right <= rect.left || rect.bottom <= rect.top)
    throw invalid('rect must not be empty (right and bottom are exclusive)');
  return rect;
}

// A window handle as a number, a BigInt, or the Buffer of Electron's getNativeWindowHandle().
function windowHandle(value) {
  if (typeof value === 'bigint') {
    if (value < 0n || value > 0xffffffffffffffffn) throw invalid(`window handle ${value} is out of range`);
    return value;
  }
  if (typeof value === 'number') {
    if (!Number.isSafeInteger(value) || value < 0) throw invalid(`window handle ${value} is not a handle`);
    return BigInt(value);
  }
  if (Buffer.isBuffer(value)) {
    if (value.length === 8) return value.readBigUInt64LE(0);
    if (value.length === 4) return BigInt(value.readUInt32LE(0));
    throw invalid(`a window handle Buffer holds 4 or 8 bytes, not ${value.length}`);
  }
  throw invalid('window handles are numbers, BigInts or Buffers', 'ERR_INVALID_ARG_TYPE');
}

class Host extends EventEmitter {
  #native;
  #queue = Promise.resolve();
  #closing = null;

  constructor(nativeHost) {
    super();
    this.#native = nativeHost;
  }

  // Runs job() after every call queued before it has ended, the native part included: an
  // aborted capture's call keeps its place until the library returns.
  #enqueue(job) {
    const run = this.#queue.then(job);
    this.#queue = run.then(() => {}, () => {});
    return run;
  }

  capture({ exclude = [], cursor = false, timeoutMs = kDefaultTimeoutMs, signal } = {}) {
    try {
      if (this.#closing) throw closedError();
      // A Buffer is iterable too, but it is one handle (Electron's getNativeWindowHandle()).
      const one = exclude === null || typeof exclude !== 'object' || Buffer.isBuffer(exclude) ||
        !(Symbol.iterator in exclude);
      const list = one ? [exclude] : [...exclude];
      const windows = BigUint64Array.from(list, windowHandle);
      if (typeof cursor !== 'boolean') throw invalid('cursor must be a boolean', 'ERR_INVALID_ARG_TYPE');
      if (!Number.isInteger(timeoutMs) || timeoutMs < 0 || timeoutMs > kMaxTimeoutMs)
        throw invalid('timeoutMs must be an integer from 0 to 4294967295');
      if (signal !== undefined && !(signal instanceof AbortSignal))
        throw invalid('signal must be an AbortSignal', 'ERR_INVALID_ARG_TYPE');
      if (signal?.aborted) return Promise.reject(abortError(signal));
      const run = this.#enqueue(() => {
        if (signal?.aborted) throw abortError(signal);
        return this.#native.capture(windows, cursor, timeoutMs);
      });
      if (!signal) return run;
      // The library has no way yet to stop a capture in flight: abort settles the promise now
      // and the call ends in the background (its answer is dropped). Once vistrel_host_cancel
      // exists, the listener below also calls the native cancel.
      return new Promise((resolve, reject) => {
        const onAbort = () => reject(abortError(signal));
        signal.addEventListener('abort', onAbort, { once: true });
        run.then(resolve, reject).finally(() => signal.removeEventListener('abort', onAbort));
      });
    } catch (error) {
      return Promise.reject(error);
    }
  }

  waitExit(timeoutMs = 0) {
    if (this.#closing) return Promise.reject(closedError());
    if (!Number.isInteger(timeoutMs) || timeoutMs < 0 || timeoutMs > kMaxTimeoutMs)
      return Promise.reject(invalid('timeoutMs must be an integer from 0 to 4294967295'));
    return this.#enqueue(() => this.#native.waitExit(timeoutMs));
  }

  close() {
    this.#closing ??= this.#enqueue(() => this.#native.close());
    return this.#closing;
  }

  [asyncDispose]() {
    return this.close();
  }
}

async function start({ rect, serverPath, log, zeroCopy = false } = {}) {
  const options = { ...checkRect(rect ?? (await primaryMonitor())) };
  if (serverPath !== undefined) {
    if (typeof serverPath !== 'string' || serverPath === '')
      throw invalid('serverPath must be a non-empty string', 'ERR_INVALID_ARG_TYPE');
    options.serverPath = path.resolve(serverPath);
  }
  if (log !== undefined && log !== false) {
    if (typeof log === 'string') options.logPath = path.resolve(log);
    else if (log !== true) throw invalid('log must be a file path or true', 'ERR_INVALID_ARG_TYPE');
  }
  if (typeof zeroCopy !== 'boolean') throw invalid('zeroCopy must be a boolean', 'ERR_INVALID_ARG_TYPE');
  options.zeroCopy = zeroCopy;
  // Lines come before start() resolves (the server's start); they wait for the listeners the
  // caller adds right after it. The relay holds the host weakly, so that a dropped host can be
  // collected and its server ended.
  let host = null;
  let early = [];
  if (options.logPath !== undefined || log === true) {
    options.log = (line, fromHost) => {
      const target = host?.deref();
      if (early) early.push([line, fromHost]);
      else target?.emit('log', line, fromHost);
    };
  }
  const created = new Host(await native.start(options));
  host = new WeakRef(created);
  if (early.length > 0) {
    setImmediate(() => {
      const lines = early;
      early = null;
      for (const [line, fromHost] of lines) host.deref()?.emit('log', line, fromHost);
    });
  } else {
    early = null;
  }
  return created;
}

async function primaryMonitor() {
  const list = await native.monitors();
  if (list.length === 0) throw invalid('no monitor to capture: give rect');
  return list[0].bounds;
}

function monitors() {
  return native.monitors();
}

module.exports = { start, monitors, version: native.version, Host };
