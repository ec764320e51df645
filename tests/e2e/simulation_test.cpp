#include "bench/simulation.h"
#include "support/test_registry.h"

class SimulationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // NETPLAY_SIMULATION_SEED plays a failed run's presses and delays again.
    void anythingInAnyOrder() {
        SimulationOptions options;
        options.seed = qEnvironmentVariableIntValue("NETPLAY_SIMULATION_SEED") > 0
                           ? static_cast<quint32>(qEnvironmentVariableIntValue("NETPLAY_SIMULATION_SEED"))
                           : 1;
        options.latency = text("80:80");
        options.matches = 5;
        options.launchDelayMs = 50;
        options.tokenSeconds = 10;
        options.failures =
            QStringList{text("500@ready:1"), text("401@heartbeat:1"), text("401@launch-done:1"), text("500@rooms:1")};
        Simulation simulation(options);
        QCOMPARE(simulation.run(), 0);
    }
};

NETPLAY_TEST(SimulationTest);
#include "simulation_test.moc"
