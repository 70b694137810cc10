// duckdb_read.mjs [FILE]: DuckDB reads every value of a file of generate_addresses, in one thread; without a file,
// only what it starts with.
import { DuckDBInstance } from '@duckdb/node-api';

const file = process.argv[2];
const instance = await DuckDBInstance.create(':memory:', { threads: '1' });
const connection = await instance.connect();
if (file) {
  const source = `read_csv('${file.replaceAll("'", "''")}', delim=';', quote='"', header=true, all_varchar=true, ` +
    `encoding='latin-1')`;
  const columns = await connection.runAndReadAll(`DESCRIBE SELECT * FROM ${source}`);
  const lengths = columns.getRows().map(([name]) => `sum(coalesce(strlen("${name}"), 0))`);
  const totals = await connection.runAndReadAll(`SELECT count(*), ${lengths.join(' + ')} FROM ${source}`);
  console.log(totals.getRows()[0].join(' '));
}
