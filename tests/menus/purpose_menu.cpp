// Stands in for an application with KDE's Share menu: offers what it is given to the framework,
// says which targets there are, runs ours and says what came of it.
// Usage: purpose_menu TYPE JSON
#include <Purpose/AlternativesModel>
#include <Purpose/Configuration>
#include <Purpose/Job>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

int main(int argc, char* argv[]) {
  QGuiApplication application(argc, argv);
  QTextStream out(stdout);
  Purpose::AlternativesModel model;
  model.setInputData(QJsonDocument::fromJson(argv[2]).object());
  model.setPluginType(QString::fromLatin1(argv[1]));
  for (int row = 0; row < model.rowCount(); ++row) {
    const QModelIndex index = model.index(row, 0);
    const auto text = [&](int role) { return index.data(role).toString(); };
    if (text(Purpose::AlternativesModel::PluginIdRole) != QLatin1String("it.drelk.korvane.share"))
      continue;
    out << "entry " << text(Purpose::AlternativesModel::ActionDisplayRole) << "\n";
    Purpose::Configuration* const configuration = model.configureJob(row);
    out << "ready " << configuration->isReady() << "\n";
    Purpose::Job* const job = configuration->createJob();
    QObject::connect(job, &KJob::percentChanged,
                     [&](KJob*, unsigned long percent) { out << "percent " << percent << "\n"; });
    QObject::connect(job, &KJob::result, [&](KJob*) {
      out << "error " << job->error() << " " << job->errorString() << "\n";
      application.quit();
    });
    job->start();
    return application.exec();
  }
  return 1;
}
