#include "plan/run.h"

#include <utility>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/terminal.h"
#include "description/yaml_tree.h"
#include "plan/view.h"

namespace ncc::tool {

void RefuseProblems(const Source& source, ProblemList& problems) {
  if (!problems.Empty()) throw Failure(source.refused, source.file, problems.TakeSorted());
}

Plan PlanFor(Session& session, const Description& description, const Network& network, bool prune,
             const Source& source, ProblemList& problems) {
  Plan plan = MakePlan(description, network, session.Apps(), prune, problems);
  RefuseProblems(source, problems);
  plan.revision = session.Net().GetRevision();
  return plan;
}

void CarryOut(Session& session, const Plan& plan) {
  if (plan.steps.empty()) return;
  const InterruptGuard interrupt;
  Progress progress(session.Out(), "Applying", plan.steps.size());
  Batch batch(session);
  Execute(plan, session, [&] {
    interrupt.Check();
    progress.Step();
  });
  batch.Store();
}

void ReportDone(Session& session, const Plan& plan) {
  Output& out = session.Out();
  if (out.IsJson()) {
    Json json = TalliesJson(plan);
    json["revision"] = session.Net().GetRevision();
    return out.Document(std::move(json));
  }
  PrintTallies(out, plan);
}

}  // namespace ncc::tool
