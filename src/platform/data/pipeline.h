// Statements sent one behind the other without waiting for their answers, for connections that can: see
// Connection::pipeline.
#pragma once

#include <span>
#include <string>

#include "kestrel/connection.h"
#include "kestrel/export.h"
#include "platform/data/copied_rows.h"

namespace kestrel {

// Who sends statements through a pipeline. Called under the connection's CallMutex, from whatever call found out.
class KESTREL_INTERNAL PipelineSender {
 public:
  PipelineSender() = default;
  PipelineSender(const PipelineSender&) = delete;
  PipelineSender& operator=(const PipelineSender&) = delete;
  virtual ~PipelineSender() = default;
  // All statements sent since the last call of either member stand in the transaction.
  virtual void PipelineSucceeded() = 0;
  // At least one of them failed, and all are rolled back: do their work again, this time with Execute. Raises
  // nothing.
  virtual void RetryPipeline() = 0;
};

class KESTREL_INTERNAL Pipeline {
 public:
  Pipeline() = default;
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;
  virtual ~Pipeline() = default;
  // Has the server know the statement, and ends a copy, so that none of several that are sent together afterwards ends the
  // others or what it holds itself. May flush. Errors as of Send.
  virtual void MakeReady(Statement& statement) = 0;
  // Sends a statement of this connection's, of whose rows nobody is told, with the values bound to it, and goes on at
  // once. Only inside a transaction. `sender`, which lives until it is told, is told later. Error 438 for a
  // statement of another connection's kind, 3000 for what keeps it from being sent.
  virtual void Send(Statement& statement, PipelineSender& sender) = 0;
  // Rows and the table and columns that they are for, "Kunden (KundenNummer, Bez1)".
  struct CopyTo {
    std::string target;
    CopiedRows rows;
  };
  // Sends rows of several tables, one table after the other, which costs the server less than statements that insert
  // them, and goes on at once. Only inside a transaction; ends what is under way first. `tables` stay as they are until
  // `sender` is told. Error 3000 as of Send.
  virtual void Copy(std::span<const CopyTo> tables, PipelineSender& sender) = 0;
  // Lets the rows of Copy go on, without waiting: the server takes one table after the other. Raises nothing.
  virtual void GoOn() = 0;
  // Waits for the answers and tells the sender. Every call of the connection that is no query does so first; a
  // query sees what was sent before it. Raises nothing.
  virtual void Flush() = 0;
};

}  // namespace kestrel
