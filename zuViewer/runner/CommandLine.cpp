// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"

#include "Console.h"

namespace {

QCommandLineOption helpOption() {
    return {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")};
}

} // namespace

CzCommandLine::CzCommandLine(const QString& command, const QString& syntax, const QString& description)
    : m_command(command), m_syntax(syntax) {
    m_parser.setApplicationDescription(description);
    m_parser.addOption(helpOption());
    m_parser.addPositionalArgument(command, QString(), command + QLatin1Char(' ') + syntax);
}

std::optional<EzExitCode> CzCommandLine::parse(const QStringList& arguments, int minimumOperands,
                                               int maximumOperands) {
    if (!m_parser.parse(arguments)) {
        QString reason = m_parser.errorText();
        if (reason.endsWith(QLatin1Char('.')))
            reason.chop(1);
        say(QStringLiteral("%1; 'zurun %2 --help' lists the options.").arg(reason, m_command));
        return EzExitCode::Misuse;
    }
    if (m_parser.isSet(helpOption()))
        return printResult(helpText());
    QString problem;
    if (operands().contains(QString()))
        problem = QStringLiteral("An argument is empty");
    else if (operands().size() < minimumOperands)
        problem = QStringLiteral("An argument is missing");
    else if (operands().size() > maximumOperands)
        problem = QStringLiteral("There are too many arguments");
    if (problem.isEmpty())
        return std::nullopt;
    say(QStringLiteral("%1; expected 'zurun %2 %3'.").arg(problem, m_command, m_syntax));
    return EzExitCode::Misuse;
}

QString CzCommandLine::helpText() const {
    // The parser knows nothing of commands: its first line would have the options before the command, its
    // last ones the command as an argument.
    QString text = m_parser.helpText();
    text.truncate(text.indexOf(QLatin1String("\nArguments:")));
    return QStringLiteral("Usage: zurun %1 %2 [options]\n").arg(m_command, m_syntax) +
           text.mid(text.indexOf(QLatin1Char('\n')) + 1);
}

std::optional<std::uint32_t> CzCommandLine::number(const QCommandLineOption& option, std::uint32_t minimum,
                                                   std::uint32_t maximum) const {
    bool ok = false;
    const std::uint32_t number = value(option).toUInt(&ok);
    if (ok && number >= minimum && number <= maximum)
        return number;
    say(QStringLiteral("--%1 '%2' is no whole number from %3 to %4.")
            .arg(option.names().last(), value(option), QString::number(minimum), QString::number(maximum)));
    return std::nullopt;
}
