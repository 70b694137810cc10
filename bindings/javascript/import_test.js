// usage: import_test.js KESTREL_IMPORT_PROGRAM; status 77 where koffi is not installed.
"use strict";
const assert = require("node:assert");
const { execFileSync } = require("node:child_process");
const fs = require("node:fs");
const os = require("node:os");
const path = require("node:path");

try {
  require.resolve("koffi");
} catch {
  console.log("koffi is not installed: npm install --prefix bindings/javascript");
  process.exit(77);
}
const { KestrelError, Library } = require("./kestrel_import.js");

const folder = fs.mkdtempSync(path.join(os.tmpdir(), "kestrel-javascript-"));
try {
  execFileSync(process.argv[2], ["init", folder]);
  const library = new Library({ home: folder, user: "4711" });
  const connection = library.connect(path.join(folder, "kestrel.db"));

  const outcomes = [];
  const result = library.run("Kunden", { connection, record: (outcome) => outcomes.push(outcome) });
  assert.strictEqual(result.read, 6);
  assert.strictEqual(result.stored_new, 6);
  assert.strictEqual(result.message, "Der Import wurde erfolgreich fertig gestellt.");
  assert.deepStrictEqual(outcomes.map(({ record, fate }) => [record, fate]).at(-1), [6, "stored"]);

  const source = path.join(folder, "kunden.txt");
  fs.writeFileSync(source, "Nr;Name;Zusatz;Strasse;Land;PLZ;Ort;Telefon;E-Mail;Gruppe;Kunde seit;Umsatz;Mitarbeiter;"
    + "Bemerkung\r\n1;Heinrich;;;D;1;Ulm;;;B;01.04.2019;viel;1;\r\n");
  const refused = [];
  library.run("Kunden", { connection, source, test: true, record: (outcome) => refused.push(outcome) });
  assert.strictEqual(refused.length, 1);
  assert.strictEqual(refused[0].errors[0].field, "Umsatz");
  assert.match(refused[0].errors[0].text, /viel/);

  assert.throws(() => library.run("Kunden", { connection, test: true, record: () => { throw new RangeError("genug"); } }),
    RangeError);
  assert.throws(() => library.run("Nirgends"), (error) => error instanceof KestrelError && /Nirgends/.test(error.message));
  assert.throws(() => library.connect("Provider=Nichts"), { number: 3706 });
  library.release(connection);
  library.close();
} finally {
  fs.rmSync(folder, { recursive: true });
}
