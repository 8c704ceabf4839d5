#include <mavcommon/FiniteStateMachine.h>

#include <gtest/gtest.h>

#include <string>

namespace {

struct Letter : StateEvent {
  explicit Letter(char c) : ch(c) {}
  char ch;
};

// Accepts "ab": a -> b -> done; anything else returns to the start.
class AbMachine : public FiniteStateMachine<AbMachine> {
 public:
  AbMachine() : FiniteStateMachine<AbMachine>(&AbMachine::st_a) { addEndState(&AbMachine::st_done); }
  void st_a(const StateEvent* e) {
    trace += 'A';
    if (static_cast<const Letter*>(e)->ch == 'a') transition(&AbMachine::st_b);
  }
  void st_b(const StateEvent* e) {
    trace += 'B';
    transition(static_cast<const Letter*>(e)->ch == 'b' ? &AbMachine::st_done : &AbMachine::st_a);
  }
  void st_done(const StateEvent* /*e*/) {
    trace += 'D';
    transition(&AbMachine::st_a);
  }
  std::string trace;
};

}  // namespace

TEST(FiniteStateMachine, DispatchRunsTheCurrentHandlerOnce) {
  AbMachine m;
  EXPECT_EQ(m.state(), &AbMachine::st_a);
  EXPECT_FALSE(m.isEndState());
  const Letter a('a'), b('b'), x('x');
  m.dispatch(&x);
  EXPECT_EQ(m.trace, "A");
  EXPECT_EQ(m.state(), &AbMachine::st_a);
  m.dispatch(&a);
  m.dispatch(&b);
  EXPECT_EQ(m.trace, "AAB");
  EXPECT_EQ(m.state(), &AbMachine::st_done);
  EXPECT_TRUE(m.isEndState());
  m.dispatch(&x);
  EXPECT_EQ(m.trace, "AABD");
  EXPECT_FALSE(m.isEndState());
  m.addEndState(&AbMachine::st_done);  // registering twice is harmless
  m.addEndState(&AbMachine::st_a);
  EXPECT_TRUE(m.isEndState());
}
