// Whether a Kubernetes Job, as JSON on standard input, is one: node check-job.js < job.json
// Unknown members are errors, too, which a server would only drop.

const job = JSON.parse(require("fs").readFileSync(0, "utf8"));
const { Job } = require("kubernetes-models/batch/v1");
try {
  new Job(job).validate();
} catch (error) {
  console.error(error.message);
  process.exit(1);
}
