// V8's promises. The chains of one turn are awaited one after the other, as the C++ sides do it;
// what the collector does meanwhile is part of the time, as their destruction is of theirs.

const STEPS = 10;
const LISTENERS = 100;

const filterArgument = process.argv.find((a) => a.startsWith('--benchmark_filter='));
const filter = new RegExp(filterArgument ? filterArgument.slice(filterArgument.indexOf('=') + 1) : '.');
const minTimeArgument = process.argv.find((a) => a.startsWith('--benchmark_min_time='));
const minSeconds = Number(minTimeArgument ? minTimeArgument.split('=')[1] : 0.3);

async function chain(start) {
  let calls = 0;
  let resolve;
  let promise = new Promise((r) => { resolve = r; });
  for (let i = 0; i < STEPS; i++) promise = promise.then((value) => { calls++; return value + i; });
  resolve(start);
  if (await promise !== start + STEPS * (STEPS - 1) / 2 || calls !== STEPS) {
    throw new Error('a step was lost');
  }
}

async function fanout() {
  let sum = 0;
  let resolve;
  const promise = new Promise((r) => { resolve = r; });
  for (let i = 0; i < LISTENERS; i++) promise.then((value) => { sum += value; });
  resolve(1);
  await promise;
  if (sum !== LISTENERS) throw new Error('a listener was lost');
}

async function itemsPerSecond(turn, items) {
  for (let i = 0; i < 2000; i++) await turn(i);
  let turns = 0;
  let seconds = 0;
  const start = process.hrtime.bigint();
  while (seconds < minSeconds) {
    for (let i = 0; i < 1000; i++) await turn(i);
    turns += 1000;
    seconds = Number(process.hrtime.bigint() - start) / 1e9;
  }
  return turns * items / seconds;
}

const benchmarks = [];
for (const [name, turn, items] of [['chain/V8', chain, STEPS], ['fanout/V8', fanout, LISTENERS]]) {
  if (filter.test(name)) {
    benchmarks.push({ name, items_per_second: await itemsPerSecond(turn, items) });
  }
}
console.log(JSON.stringify({ benchmarks }));
