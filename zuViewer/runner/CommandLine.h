// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

/// The command line of one of the program's commands: zurun COMMAND [options] ...
class CzCommandLine {
public:
    /// syntax: what follows the command's name, as in "CHAIN INPUT...".
    CzCommandLine(const QString& command, const QString& syntax, const QString& description);

    void add(const QCommandLineOption& option) { m_parser.addOption(option); }

    /// Parses the program's arguments, its own name and the command's included. The command goes on when the
    /// result is empty; otherwise it ends with that code, because help was asked for (and printed) or the
    /// line is wrong (and that was said). operands: how many the command takes, at least and at most.
    std::optional<EzExitCode> parse(const QStringList& arguments, int minimumOperands, int maximumOperands);

    /// What is no option and not the command's name.
    QStringList operands() const { return m_parser.positionalArguments().mid(1); }

    bool isSet(const QCommandLineOption& option) const { return m_parser.isSet(option); }
    QString value(const QCommandLineOption& option) const { return m_parser.value(option); }
    QStringList values(const QCommandLineOption& option) const { return m_parser.values(option); }

    /// The option's value as a whole number in minimum ... maximum; empty, and it was said, when it is none.
    std::optional<std::uint32_t> number(const QCommandLineOption& option, std::uint32_t minimum,
                                        std::uint32_t maximum) const;

private:
    QString helpText() const;

    QString m_command;
    QString m_syntax;
    QCommandLineParser m_parser;
};
