// Types of the vistrel package. Names follow the C interface (vistrel_host.h).
/// <reference types="node" />
import { EventEmitter } from 'node:events';

/** A rectangle in physical screen pixels; right and bottom exclusive. */
export interface Rect {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

export interface StartOptions {
  /** The rectangle every capture of this host takes. Default: the primary monitor. */
  rect?: Rect;
  /** Vistrel.exe to run. Default: the one beside vistrel_host.dll in this package. */
  serverPath?: string;
  /**
   * The server's log: a file path (appended to, UTF-8; crash dumps beside it), or true. Either
   * way every line also comes as a 'log' event. Default: no log.
   */
  log?: string | boolean;
  /**
   * Hand out the shared image block itself instead of a copy. A frame's `data` is then valid
   * until the next capture starts or the host closes; after that it is detached (length 0).
   * `rects` is always the whole frame. Runtimes that forbid memory outside V8's heap
   * (Electron's V8 sandbox) get a copy. Default: false.
   */
  zeroCopy?: boolean;
  /**
   * Start a new server when a capture finds the old one ended: always after its idle end (60 s
   * without a request), after any other end (a crash, a kill) at most
   * `maxCrashRestartsPerMinute` times within a minute. Default: false.
   */
  autoRestart?: boolean;
  /** With autoRestart: restarts after a crash within any minute (0: never). Default: 3. */
  maxCrashRestartsPerMinute?: number;
}

/** A window to leave out: an HWND as a number or BigInt, or getNativeWindowHandle()'s Buffer. */
export type WindowHandle = number | bigint | Buffer;

export interface CaptureOptions {
  /** Windows to leave out (at most 1023). Default: none. */
  exclude?: WindowHandle | Iterable<WindowHandle>;
  /** Draw the mouse cursor. Default: false. */
  cursor?: boolean;
  /** How long to wait for the server's answer. Default: 30000. */
  timeoutMs?: number;
  /**
   * Aborting rejects the capture's promise with an AbortError at once and cancels the native
   * call, so the host is free for the next call at once.
   */
  signal?: AbortSignal;
}

export interface Frame {
  /** The server's answer: 2000 captured; above 2000 why not (then data is empty). */
  code: number;
  text: string;
  width: number;
  height: number;
  /** Bytes from one row to the next. */
  stride: number;
  /** `height` rows of `stride` bytes, each pixel B, G, R, X; row 0 is the top one. */
  data: Buffer;
  /** What changed since this host's previous successful capture, on a 32 x 32 grid. */
  rects: Rect[];
  /** How long the server waited for a fresh frame. */
  wait: { iterations: number; milliseconds: number; timedOut: boolean };
}

export interface ServerExit {
  /** 10: it wrote its final result; 11 to 14: it failed at start-up; other: killed or crashed. */
  exitCode: number;
  /** The final result's code when exitCode is 10, else 0. */
  finalCode: number;
  text: string;
}

export interface Monitor {
  bounds: Rect;
  workArea: Rect;
  primary: boolean;
  /** Such as "\\.\DISPLAY1". */
  deviceName: string;
}

/**
 * The error of a rejected promise. `code` is the C interface's result for failures there (2005
 * bad argument, 2008 Vistrel.exe not found, 2024 no answer in time, 2028 cancelled by close(),
 * 3001 the server has ended, or
 * a system error), or a string: 'ABORT_ERR', 'ERR_VISTREL_CLOSED', 'ERR_INVALID_ARG_TYPE',
 * 'ERR_INVALID_ARG_VALUE'.
 */
export interface VistrelError extends Error {
  code: number | string;
}

export declare class Host extends EventEmitter {
  private constructor();
  /** Resolves with any answer of the server; rejects only when no answer came. */
  capture(options?: CaptureOptions): Promise<Frame>;
  /** Waits up to timeoutMs (0: only asks) for the server's end; rejects with 2024 while it runs. */
  waitExit(timeoutMs?: number): Promise<ServerExit>;
  /** How many servers the host started after its first (restarts and new rectangles). */
  restartCount(): Promise<number>;
  /** The current server's process id. */
  serverProcessId(): Promise<number>;
  /** The current server's identifier (its shared objects' names); "" without a server. */
  identifier(): Promise<string>;
  /** Captures rect from the next capture on, which starts a new server for it. */
  setRect(rect: Rect): Promise<void>;
  /**
   * Cancels the capture in progress (it rejects with 2028), refuses the calls queued behind it
   * (ERR_VISTREL_CLOSED), ends the server and frees the host. Repeatable.
   */
  close(): Promise<void>;
  [Symbol.asyncDispose](): Promise<void>;

  on(event: 'log', listener: (line: string, fromHost: boolean) => void): this;
  once(event: 'log', listener: (line: string, fromHost: boolean) => void): this;
  off(event: 'log', listener: (line: string, fromHost: boolean) => void): this;
}

export declare function start(options?: StartOptions): Promise<Host>;
export declare function monitors(): Promise<Monitor[]>;
/** The version of the library and of the server beside it, such as "1.1.0". */
export declare const version: string;
