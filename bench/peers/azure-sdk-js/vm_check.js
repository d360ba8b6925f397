// The virtual machine check as a user of Microsoft's Azure SDK for JavaScript would write it:
// one ClientSecretCredential and two clients made once and reused, Azure Monitor's metrics.list
// for the three CPU metrics and Compute's instanceView for the power state, values read as the
// module reads them. end_to_end_bench starts it (scripts/bench.sh installs the packages) and
// drives it over stdin and stdout, exactly as it drives its own two clients:
//
//   in:  "check N"  out: "done <process CPU us> <failed> <max RSS KiB> <latency us> ..." (N of them)
//   in:  "quit" or end of input: exit
//
// It prints "ready" after a first check, which pays for the token and the connections, or
// "error <text>" when that check fails. Settings come from the environment: the emulator's
// endpoints and account (PEER_*), and its CA through NODE_EXTRA_CA_CERTS.
"use strict";

const fs = require("node:fs");
const net = require("node:net");
const readline = require("node:readline");

// Nothing may leave the machine: every TCP connection the SDK opens goes to loopback, or the
// peer stops. Instance discovery is off below; this makes any other lookup fail loudly instead.
const connect = net.Socket.prototype.connect;
net.Socket.prototype.connect = function guardedConnect(...args) {
  const options = typeof args[0] === "object" && args[0] !== null ? args[0] : {};
  const target = Array.isArray(options) ? options[0] : options;
  const host = target.host ?? (typeof args[1] === "string" ? args[1] : "localhost");
  if (!["127.0.0.1", "::1", "localhost"].includes(host) && target.path === undefined) {
    process.stdout.write(`error the SDK tried to reach ${host}, which is not loopback\n`);
    process.exit(1);
  }
  return connect.apply(this, args);
};

const { ClientSecretCredential } = require("@azure/identity");
const { MonitorClient } = require("@azure/arm-monitor");
const { ComputeManagementClient } = require("@azure/arm-compute");

function setting(name) {
  const value = process.env[name];
  if (!value) {
    process.stdout.write(`error ${name} is not set\n`);
    process.exit(2);
  }
  return value;
}

const armEndpoint = setting("PEER_ARM_ENDPOINT").replace(/\/+$/, "");
const vmId = setting("PEER_VM_ID");
const subscriptionId = setting("PEER_SUBSCRIPTION_ID");
const credential = new ClientSecretCredential(
  setting("PEER_TENANT_ID"),
  setting("PEER_CLIENT_ID"),
  setting("PEER_CLIENT_SECRET"),
  { authorityHost: setting("PEER_LOGIN_ENDPOINT"), disableInstanceDiscovery: true },
);
const scopes = [`${armEndpoint}/.default`];
const monitor = new MonitorClient(credential, subscriptionId, {
  endpoint: armEndpoint,
  $host: armEndpoint,
  credentialScopes: scopes,
});
const compute = new ComputeManagementClient(credential, subscriptionId, {
  endpoint: armEndpoint,
  credentials: { scopes },
});

// "/subscriptions/{s}/resourceGroups/{g}/providers/Microsoft.Compute/virtualMachines/{vm}"
const idParts = vmId.split("/");
const resourceGroup = idParts[idParts.indexOf("resourceGroups") + 1];
const vmName = idParts[idParts.length - 1];
const resourceUri = vmId.replace(/^\/+/, "");

const powerStates = {
  "PowerState/running": 0,
  "PowerState/stopped": 10,
  "PowerState/stopping": 11,
  "PowerState/deallocated": 20,
  "PowerState/deallocating": 21,
};

// One check: the newest minute's average of each metric, and the power state. Returns the
// values read; throws when the check fails.
async function check() {
  const metrics = await monitor.metrics.list(resourceUri, {
    metricnames: "Percentage CPU,CPU Credits Remaining,CPU Credits Consumed",
    interval: "PT1M",
    aggregation: "average",
    timespan: "PT1M",
  });
  const values = {};
  for (const metric of metrics.value) {
    if (metric.errorCode !== undefined && metric.errorCode !== "Success") {
      continue;
    }
    const data = metric.timeseries?.[0]?.data ?? [];
    values[metric.name.value] = data.length > 0 ? (data[data.length - 1].average ?? 0) : 0;
  }
  const view = await compute.virtualMachines.instanceView(resourceGroup, vmName);
  const status = (view.statuses ?? []).find((s) => (s.code ?? "").startsWith("PowerState/"));
  const state = status === undefined ? undefined : powerStates[status.code];
  if (state === undefined) {
    throw new Error(`no known power state in the instance view`);
  }
  values.state = state;
  return values;
}

// The peak of this process's own memory (VmHWM), as the benchmark's other clients report it:
// getrusage's maximum is carried over exec from the benchmark that started this process.
function maxRssKib() {
  const peak = /^VmHWM:\s*(\d+)/m.exec(fs.readFileSync("/proc/self/status", "utf8"));
  return peak === null ? process.resourceUsage().maxRSS : Number(peak[1]);
}

function cpuMicroseconds() {
  const used = process.cpuUsage();
  return used.user + used.system;
}

async function runChecks(count) {
  const latencies = new Array(count);
  let failed = 0;
  const cpuBefore = cpuMicroseconds();
  for (let i = 0; i < count; ++i) {
    const start = process.hrtime.bigint();
    try {
      await check();
    } catch {
      ++failed;
    }
    latencies[i] = Number(process.hrtime.bigint() - start) / 1000;
  }
  const cpu = cpuMicroseconds() - cpuBefore;
  const maxRss = maxRssKib();
  return `done ${cpu} ${failed} ${maxRss} ${latencies.map((l) => l.toFixed(1)).join(" ")}\n`;
}

async function main() {
  try {
    await check();
  } catch (error) {
    process.stdout.write(`error ${String(error.message ?? error).replace(/\s+/g, " ")}\n`);
    process.exit(1);
  }
  process.stdout.write("ready\n");
  const input = readline.createInterface({ input: process.stdin });
  for await (const line of input) {
    const [command, argument] = line.trim().split(/\s+/);
    if (command === "quit") {
      break;
    }
    if (command === "check") {
      process.stdout.write(await runChecks(Number(argument)));
    } else {
      process.stdout.write(`error unknown command "${line}"\n`);
    }
  }
  process.exit(0);
}

main();
