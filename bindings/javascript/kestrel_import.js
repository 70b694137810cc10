// KESTREL Import for JavaScript, over the C interface (kestrel/kestrel.h) by koffi: imports, watched record by record.
// It shows what another language needs; what is left out here is written the same way.
"use strict";
const koffi = require("koffi");

const OK = 0, FAILED = 1;
const FATES = ["stored", "updated", "held back", "rejected", "checked"];

const native = koffi.load(process.env.KESTREL_LIBRARY || "libkestrelimport.so.2");
const Text = koffi.struct("kestrel_text", { data: "const char*", length: "size_t" });
// What the library hands out does not end in a NUL: the pointer is read by its length.
const TextOut = koffi.struct("kestrel_text_out", { data: "void*", length: "size_t" });
const LastError = koffi.struct("kestrel_error",
  { size: "size_t", status: "int32_t", number: "int32_t", description: TextOut });
const Order = koffi.struct("kestrel_order", { size: "size_t", specification: Text, folder: Text, source_file: Text,
  working_folder: Text, host_connection: "uint64_t", user: Text, has_application: "int32_t", application: "int32_t",
  context: "void*", tell: "void*" });
const Settings = koffi.struct("kestrel_run_settings", { size: "size_t", test: "int32_t", despite_findings: "int32_t",
  from: "int32_t", most_errors: "int32_t", most_same_errors: "int32_t", keep_rejects: "int32_t", rejects_file: Text });
const RecordError = koffi.struct("kestrel_record_error", { size: "size_t", number: "int64_t", text: TextOut,
  field: TextOut, source_column: TextOut, raw_value: TextOut, function: TextOut });
const Outcome = koffi.struct("kestrel_outcome", { size: "size_t", record: "int64_t", fate: "int32_t",
  duplicate_key: "int32_t", error_count: "size_t", errors: "void*" });  // and more, which this package does not tell
const View = koffi.struct("kestrel_run_view", { size: "size_t", context: "void*", progress: "void*", record: "void*",
  revision: "void*", tell: "void*", every_record: "int32_t", reserved: "int32_t" });
const COUNTS = ["read", "stored_new", "updated", "held_back", "rejected", "checked", "errors", "cut_values", "total",
  "skipped", "unlogged", "rejects", "next_record"];
const Result = koffi.struct("kestrel_run_result", { size: "size_t",
  ...Object.fromEntries(COUNTS.map((name) => [name, "int64_t"])), stopped: "int32_t", cancelled: "int32_t",
  source_state: "int32_t", reserved: "int32_t", message: TextOut, source_error: TextOut, stop_reason: TextOut,
  source_kept: TextOut, rejects_error: TextOut });
const RecordFunction = koffi.proto("int32_t kestrel_record_function(void* context, const kestrel_outcome* outcome)");

const call = {
  open: native.func("int32_t kestrel_library_open(void* options, _Out_ void** library)"),
  close: native.func("int32_t kestrel_library_close(void* library)"),
  lastError: native.func("int32_t kestrel_last_error(void* library, _Inout_ kestrel_error* error)"),
  setOption: native.func("int32_t kestrel_option_set(void* library, kestrel_text name, kestrel_text value)"),
  connect: native.func("int32_t kestrel_connection_open(void* library, kestrel_text string, _Out_ uint64_t* made)"),
  createJob: native.func("int32_t kestrel_job_create(void* library, _Out_ uint64_t* job)"),
  openJob: native.func("int32_t kestrel_job_open(void* library, uint64_t job, const kestrel_order* order)"),
  run: native.func("int32_t kestrel_job_run(void* library, uint64_t job, const kestrel_run_settings* settings,"
    + " const kestrel_run_view* view, _Inout_ kestrel_run_result* result)"),
  release: native.func("int32_t kestrel_release(void* library, uint64_t handle)"),
};

function text(string = "") {
  return { data: string, length: Buffer.byteLength(string) };
}

function string({ data, length }) {
  return length ? Buffer.from(koffi.decode(data, koffi.array("uint8_t", Number(length)))).toString("utf8") : "";
}

class KestrelError extends Error {
  constructor(number, description) {
    super(description);
    this.number = number;
  }
}

class Library {
  constructor({ home, user } = {}) {
    const made = [null];
    if (call.open(null, made) !== OK) throw new KestrelError(0, "Die Bibliothek kann nicht geöffnet werden.");
    [this.library] = made;
    if (home !== undefined) this.check(call.setOption(this.library, text("home"), text(home)));
    if (user !== undefined) this.check(call.setOption(this.library, text("user"), text(user)));
  }

  // Raises what a call failed with.
  check(status) {
    if (status === OK) return;
    const error = { size: koffi.sizeof(LastError), description: {} };
    call.lastError(this.library, error);
    throw new KestrelError(error.number, string(error.description));
  }

  handle(make, ...rest) {
    const made = [0];
    this.check(make(this.library, ...rest, made));
    return made[0];
  }

  connect(connectionString) { return this.handle(call.connect, text(connectionString)); }
  release(handle) { this.check(call.release(this.library, handle)); }
  close() { this.check(call.close(this.library)); }

  // Runs an import. `record` is told {record, fate, errors} of each; what it raises stops the run and comes out.
  run(specification, { source, connection = 0, test = false, record } = {}) {
    const job = this.handle(call.createJob);
    let raised;
    const tell = record && koffi.register((_context, pointer) => {
      try {
        record(outcomeOf(koffi.decode(pointer, Outcome)));
        return OK;
      } catch (error) {
        raised ??= error;
        return FAILED;
      }
    }, koffi.pointer(RecordFunction));
    try {
      this.check(call.openJob(this.library, job, { size: koffi.sizeof(Order), specification: text(specification),
        folder: text(), source_file: text(source), working_folder: text(), host_connection: connection, user: text() }));
      const result = { size: koffi.sizeof(Result) };
      this.check(call.run(this.library, job, { size: koffi.sizeof(Settings), test: test ? 1 : 0, rejects_file: text() },
        { size: koffi.sizeof(View), record: tell ?? null, every_record: 1 }, result));
      if (raised !== undefined) throw raised;
      const counts = COUNTS.map((name) => [name, Number(result[name])]);
      return { ...Object.fromEntries(counts), stopped: result.stopped !== 0, message: string(result.message) };
    } finally {
      if (tell) koffi.unregister(tell);
      this.release(job);
    }
  }
}

function outcomeOf({ record, fate, error_count: count, errors }) {
  const told = count ? koffi.decode(errors, koffi.array(RecordError, Number(count))) : [];
  return { record: Number(record), fate: FATES[fate],
    errors: told.map((error) => ({ number: Number(error.number), text: string(error.text), field: string(error.field) })) };
}

module.exports = { KestrelError, Library };
