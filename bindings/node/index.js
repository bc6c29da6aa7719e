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
  #capturing = null; // the token of the capture whose native call runs

  constructor(nativeHost) {
    super();
    this.#native = nativeHost;
  }

  // Runs job() after every call queued before it has ended, the native part included: an
  // aborted capture's call keeps its place until the library returns (which a cancel makes
  // prompt). Calls that had not begun when close() was asked for are refused.
  #enqueue(job, { whenClosing = false } = {}) {
    const run = this.#queue.then(() => {
      if (this.#closing && !whenClosing) throw closedError();
      return job();
    });
    this.#queue = run.then(() => {}, () => {});
    return run;
  }

  // Cancels the native capture for as long as running() holds. The library cancels only a
  // capture it has begun, and the worker thread may not have begun it yet: the cancel is
  // repeated until the call has returned.
  #cancelWhile(running) {
    if (!running()) return;
    this.#native.cancel();
    const again = setInterval(() => {
      if (running()) this.#native.cancel();
      else clearInterval(again);
    }, 25);
  }

  // A quick native call in its turn.
  #quick(job) {
    if (this.#closing) return Promise.reject(closedError());
    return this.#enqueue(job);
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
      const token = {};
      const run = this.#enqueue(() => {
        if (signal?.aborted) throw abortError(signal);
        this.#capturing = token;
        try {
          return this.#native.capture(windows, cursor, timeoutMs).finally(() => { this.#capturing = null; });
        } catch (error) {
          this.#capturing = null;
          throw error;
        }
      });
      if (!signal) return run;
      // Abort settles the promise now and cancels the native call if it is this capture's (a
      // capture still queued never starts), so the next call runs at once.
      return new Promise((resolve, reject) => {
        const onAbort = () => {
          reject(abortError(signal));
          this.#cancelWhile(() => this.#capturing === token);
        };
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

  /** How many servers the host started after its first (restarts and new rectangles). */
  restartCount() {
    return this.#quick(() => this.#native.restartCount());
  }

  /** The current server's process id. */
  serverProcessId() {
    return this.#quick(() => this.#native.serverProcessId());
  }

  /** The current server's identifier (the names of its shared objects); "" without a server. */
  identifier() {
    return this.#quick(() => this.#native.identifier());
  }

  /** Captures rect from the next capture on, which starts a new server for it. */
  setRect(rect) {
    try {
      const { left, top, right, bottom } = checkRect(rect);
      return this.#quick(() => this.#native.setRect(left, top, right, bottom));
    } catch (error) {
      return Promise.reject(error);
    }
  }

  // Cancels the capture in progress at once (it rejects with 2028), refuses the calls queued
  // behind it, then ends the server.
  close() {
    if (!this.#closing) {
      this.#closing = this.#enqueue(() => this.#native.close(), { whenClosing: true });
      this.#cancelWhile(() => this.#capturing !== null);
    }
    return this.#closing;
  }

  [asyncDispose]() {
    return this.close();
  }
}

async function start({ rect, serverPath, log, zeroCopy = false, autoRestart = false,
  maxCrashRestartsPerMinute = 3 } = {}) {
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
  if (typeof autoRestart !== 'boolean') throw invalid('autoRestart must be a boolean', 'ERR_INVALID_ARG_TYPE');
  if (!Number.isInteger(maxCrashRestartsPerMinute) || maxCrashRestartsPerMinute < 0 ||
      maxCrashRestartsPerMinute > kMaxTimeoutMs)
    throw invalid('maxCrashRestartsPerMinute must be an integer from 0 to 4294967295');
  options.autoRestart = autoRestart;
  options.maxCrashRestartsPerMinute = maxCrashRestartsPerMinute;
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
